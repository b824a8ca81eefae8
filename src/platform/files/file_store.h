#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/files/mapped_file.h"
#include "platform/system/error.h"

namespace tolvar {

/// One open file that is written so that it survives. What was written is safe only after Sync. Closes at its end.
class StoredFile {
public:
    virtual ~StoredFile() = default;

    [[nodiscard]] virtual Result<std::uint64_t> Size() const = 0;

    /// Fills `out` with the bytes from `offset` on. Errors: kReadFault where the file ends before that.
    [[nodiscard]] virtual Result<void> Read(std::uint64_t offset, std::span<std::byte> out) const = 0;

    /// Writes at `offset`, beyond the end too: a gap reads as zeros. On an error part of it may have been written.
    [[nodiscard]] virtual Result<void> Write(std::uint64_t offset, std::span<const std::byte> bytes) = 0;

    [[nodiscard]] virtual Result<void> Resize(std::uint64_t size) = 0;

    /// Answers success once all that was written is on the medium, and the file's size with it.
    [[nodiscard]] virtual Result<void> Sync() = 0;

    /// Keeps other programs from writing, as long as the file is open. Errors: kSharingViolation, with the number of
    /// the process that has it where that is known.
    [[nodiscard]] virtual Result<void> Lock() = 0;

    /// Whether its path still leads to it. Errors: kFileNotFound where it was removed or renamed, kSharingViolation
    /// where another file has its place.
    [[nodiscard]] virtual Result<void> CheckName() const = 0;

    /// A number that changes when somebody else changes the file. Meaningful only beside an earlier answer.
    [[nodiscard]] virtual Result<std::uint64_t> ChangeStamp() const = 0;
};

/// Where files lie. Everything that has to be durable goes through one of these, so that a test can put one in its
/// place that stops as a power cut does.
class FileStore {
public:
    enum class Mode {
        kRead,   ///< an existing file, for reading
        kWrite,  ///< an existing file, for reading and writing
        kCreate, ///< for reading and writing, made where it is missing, for this user alone
        kStream, ///< a pipe or device, for writing alone, front to back; waits until a pipe has a reader
    };

    /// What a name leads to, through links.
    enum class Kind {
        kMissing, ///< nothing, or what can't be told
        kRegular,
        kFolder,
        kStream, ///< a pipe, a device: what takes bytes and is nothing to replace
    };

    virtual ~FileStore() = default;

    [[nodiscard]] virtual Result<std::unique_ptr<StoredFile>> Open(const std::filesystem::path& file, Mode mode) = 0;

    /// Makes a file that is not there yet, for reading and writing. It gets the rights of `like` and its owner and
    /// group, or less where not all of that is allowed; the usual ones of a new file where there is no such file.
    /// Errors: kAlreadyExists for anything of that name.
    [[nodiscard]] virtual Result<std::unique_ptr<StoredFile>> Create(const std::filesystem::path& file,
                                                                     const std::filesystem::path& like) = 0;

    /// A private copy of the file in memory, with address space to grow.
    [[nodiscard]] virtual Result<MappedFile> Map(const std::filesystem::path& file, std::size_t room) = 0;

    /// The file in memory, for looking at it alone. Errors: the file's.
    [[nodiscard]] virtual Result<MappedFile> MapForReading(const std::filesystem::path& file) = 0;

    /// Whether there is a file, folder or anything else of exactly that name.
    [[nodiscard]] virtual bool Exists(const std::filesystem::path& file) = 0;

    [[nodiscard]] virtual Kind KindOf(const std::filesystem::path& file) = 0;

    /// The path of a file without links and from the root on, whether the file is there or not. Errors: the folder's.
    [[nodiscard]] virtual Result<std::filesystem::path> RealPath(const std::filesystem::path& file) = 0;

    /// The file of that name in its folder, without regard to case; nothing if there is none. Errors: the folder's,
    /// where that can't be told.
    [[nodiscard]] virtual Result<std::optional<std::filesystem::path>> Find(const std::filesystem::path& file) = 0;

    [[nodiscard]] virtual Result<void> Remove(const std::filesystem::path& file) = 0;

    /// Puts `from` in the place of `to`: whoever looks sees the one or the other.
    [[nodiscard]] virtual Result<void> Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;

    /// The same where nothing has the name `to`. Errors: kAlreadyExists.
    [[nodiscard]] virtual Result<void> RenameNew(const std::filesystem::path& from,
                                                 const std::filesystem::path& to) = 0;

    /// Makes a folder that is missing, with those on the way to it, durably and for this user alone. One that is there
    /// is no error.
    [[nodiscard]] virtual Result<void> MakeFolder(const std::filesystem::path& folder) = 0;

    /// The names of what lies in a folder, in any order, without "." and "..".
    [[nodiscard]] virtual Result<std::vector<std::string>> List(const std::filesystem::path& folder) = 0;

    /// Makes what was created, removed and renamed in a folder durable.
    [[nodiscard]] virtual Result<void> SyncFolder(const std::filesystem::path& folder) = 0;

    /// Makes files durable with their names, all of them together: many cost little more than a few.
    [[nodiscard]] virtual Result<void> SyncAll(std::span<const std::filesystem::path> files);
};

/// The files of this system.
[[nodiscard]] FileStore& SystemFiles();

} // namespace tolvar
