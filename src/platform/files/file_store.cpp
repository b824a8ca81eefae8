#include "platform/files/file_store.h"

#include <algorithm>

namespace tolvar {

Result<void> FileStore::SyncAll(std::span<const std::filesystem::path> files)
{
    std::vector<std::filesystem::path> folders;
    for (const std::filesystem::path& file : files) {
        const Result<std::unique_ptr<StoredFile>> stored = Open(file, Mode::kWrite);
        if (!stored) {
            return tl::unexpected(stored.error());
        }
        if (auto synced = (*stored)->Sync(); !synced) {
            return synced;
        }
        if (std::ranges::find(folders, file.parent_path()) == folders.end()) {
            folders.push_back(file.parent_path());
        }
    }
    for (const std::filesystem::path& folder : folders) {
        if (auto synced = SyncFolder(folder); !synced) {
            return synced;
        }
    }
    return {};
}

} // namespace tolvar
