#include "platform/files/durable_write.h"

namespace tolvar {

namespace {

Result<void> WriteContent(FileStore& store, const std::filesystem::path& file, std::span<const std::byte> content)
{
    Result<std::unique_ptr<StoredFile>> stored = store.Open(file, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(std::move(stored.error()));
    }
    if (auto cut = (*stored)->Resize(0); !cut) { // what an earlier try left
        return cut;
    }
    if (auto written = (*stored)->Write(0, content); !written) {
        return written;
    }
    return (*stored)->Sync();
}

} // namespace

Result<void> WriteNewFile(FileStore& store, const std::filesystem::path& file, std::span<const std::byte> content)
{
    if (store.Exists(file)) {
        return Failure(ErrorCode::kAlreadyExists, file.string());
    }
    const std::filesystem::path fresh = file.string() + ".new";
    if (auto written = WriteContent(store, fresh, content); !written) {
        static_cast<void>(store.Remove(fresh));
        return written;
    }
    if (auto renamed = store.Rename(fresh, file); !renamed) {
        static_cast<void>(store.Remove(fresh));
        return renamed;
    }
    auto synced = store.SyncFolder(file.parent_path());
    if (!synced) {
        static_cast<void>(store.Remove(file));
    }
    return synced;
}

} // namespace tolvar
