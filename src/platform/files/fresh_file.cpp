#include "platform/files/fresh_file.h"

#include <utility>

#include <fmt/format.h>
#include <sys/random.h>

namespace tolvar {

namespace {

/// A hidden name beside `place`. Its length stays below what file systems take.
std::filesystem::path NameBeside(const std::filesystem::path& place)
{
    constexpr std::size_t kMostOfName = 200; // bytes
    std::uint64_t chance = 0;
    static_cast<void>(getrandom(&chance, sizeof chance, 0)); // whatever it gives: a name that is taken is not used
    return place.parent_path() /
           fmt::format(".{}.{:016x}.tmp", place.filename().string().substr(0, kMostOfName), chance);
}

} // namespace

FreshFile::FreshFile(FileStore& store, std::filesystem::path place, Existing existing)
    : m_store(&store), m_place(std::move(place)), m_existing(existing)
{}

FreshFile::FreshFile(FreshFile&& other) noexcept
    : m_store(other.m_store), m_place(std::move(other.m_place)), m_existing(other.m_existing),
      m_name(std::move(other.m_name)), m_file(std::move(other.m_file)), m_size(other.m_size)
{}

void FreshFile::Discard() noexcept
{
    if (std::exchange(m_file, nullptr) != nullptr && !m_name.empty()) {
        static_cast<void>(m_store->Remove(m_name));
    }
}

/// What a person is told: the name that the file has on its way is of no use to him.
tl::unexpected<Error> FreshFile::Failed(const char* what, const Error& error) const
{
    return Failure(error.code, fmt::format("{} {}", what, m_place.string()));
}

Result<FreshFile> FreshFile::Begin(FileStore& store, const std::filesystem::path& place, Existing existing,
                                   const std::filesystem::path& like)
{
    const FileStore::Kind kind = store.KindOf(place);
    if (kind == FileStore::Kind::kFolder) {
        return Failure(ErrorCode::kDirectory, place.string() + ": this is a folder");
    }
    if (kind == FileStore::Kind::kRegular && existing == Existing::kRefuse) {
        return Failure(ErrorCode::kAlreadyExists, place.string());
    }
    if (kind == FileStore::Kind::kStream) {
        FreshFile stream(store, place, existing);
        Result<std::unique_ptr<StoredFile>> opened = store.Open(place, FileStore::Mode::kStream);
        if (!opened) {
            return tl::unexpected(std::move(opened.error()));
        }
        stream.m_file = *std::move(opened);
        return stream;
    }
    Result<std::filesystem::path> real = store.RealPath(place);
    if (!real) {
        return tl::unexpected(std::move(real.error()));
    }
    FreshFile fresh(store, *std::move(real), existing);
    constexpr int kTries = 16;
    Result<std::unique_ptr<StoredFile>> made = Failure(ErrorCode::kAlreadyExists);
    for (int i = 0; i < kTries && !made && made.error().code == ErrorCode::kAlreadyExists; ++i) {
        fresh.m_name = NameBeside(fresh.m_place);
        made = store.Create(fresh.m_name, kind == FileStore::Kind::kRegular ? fresh.m_place : like);
    }
    if (!made) {
        return fresh.Failed("make", made.error());
    }
    fresh.m_file = *std::move(made);
    return fresh;
}

Result<void> FreshFile::Append(std::span<const std::byte> bytes)
{
    if (auto written = m_file->Write(m_size, bytes); !written) {
        return Failed("write", written.error());
    }
    m_size += bytes.size();
    return {};
}

Result<void> FreshFile::Rename()
{
    return m_existing == Existing::kReplace ? m_store->Rename(m_name, m_place) : m_store->RenameNew(m_name, m_place);
}

Result<void> FreshFile::TakePlace()
{
    auto done = m_file->Sync();
    if (done && m_name.empty()) {
        m_file.reset();
        return done;
    }
    done = done ? Rename() : done;
    if (!done) {
        Discard();
        return done.error().code == ErrorCode::kAlreadyExists ? Failure(ErrorCode::kAlreadyExists, m_place.string())
                                                              : Failed("write", done.error());
    }
    m_file.reset();
    auto synced = m_store->SyncFolder(m_place.parent_path());
    if (!synced && m_existing == Existing::kRefuse) {
        static_cast<void>(m_store->Remove(m_place));
    }
    return synced;
}

Result<void> WriteNewFile(FileStore& store, const std::filesystem::path& file, std::span<const std::byte> content,
                          const std::filesystem::path& like)
{
    Result<FreshFile> fresh = FreshFile::Begin(store, file, FreshFile::Existing::kRefuse, like);
    if (!fresh) {
        return tl::unexpected(std::move(fresh.error()));
    }
    auto written = fresh->Append(content);
    return written ? fresh->TakePlace() : written;
}

} // namespace tolvar
