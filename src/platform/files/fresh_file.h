#pragma once

#include <filesystem>
#include <memory>
#include <span>

#include "platform/files/file_store.h"

namespace tolvar {

/// A file in the making. It lies beside its place under a name that nothing else has and takes the place as a whole
/// once it is durable; until then the place is untouched. A link stays, and what it leads to is replaced. What an ended
/// program left of such a file is never used again.
class FreshFile {
public:
    /// What becomes of a file that has the place already.
    enum class Existing {
        kRefuse,  ///< it stays: kAlreadyExists
        kReplace, ///< it is replaced
    };

    /// The file gets the rights, and where that is allowed the owner, of the file that it replaces, else those of
    /// `like`; never more than these. Errors: kDirectory for a folder; otherwise the file system's.
    [[nodiscard]] static Result<FreshFile> Begin(FileStore& store, const std::filesystem::path& place,
                                                 Existing existing, const std::filesystem::path& like = {});

    /// Removes a file that has not taken its place.
    ~FreshFile() { Discard(); }
    FreshFile(FreshFile&& other) noexcept;
    FreshFile& operator=(FreshFile&& other) = delete;
    FreshFile(const FreshFile&) = delete;
    FreshFile& operator=(const FreshFile&) = delete;

    [[nodiscard]] Result<void> Append(std::span<const std::byte> bytes);

    /// Makes the content durable, puts it in its place and makes that durable too. Once. On an error the place is as it
    /// was; but where it had a file, and only the folder could not be made durable, it may hold the new content.
    [[nodiscard]] Result<void> TakePlace();

private:
    FreshFile(FileStore& store, std::filesystem::path place, Existing existing);

    void Discard() noexcept;
    [[nodiscard]] Result<void> Rename();
    [[nodiscard]] tl::unexpected<Error> Failed(const char* what, const Error& error) const;

    FileStore* m_store;
    std::filesystem::path m_place; ///< without links
    Existing m_existing;
    std::filesystem::path m_name;       ///< that it has until it takes its place; empty for a pipe or device
    std::unique_ptr<StoredFile> m_file; ///< null once it has taken its place, or was discarded
    std::uint64_t m_size = 0;
};

/// Makes a new file with this content, and the rights of `like`: it is there whole or not at all, and durable when this
/// returns. Errors: kAlreadyExists; otherwise the file system's, and nothing is left behind.
[[nodiscard]] Result<void> WriteNewFile(FileStore& store, const std::filesystem::path& file,
                                        std::span<const std::byte> content, const std::filesystem::path& like = {});

} // namespace tolvar
