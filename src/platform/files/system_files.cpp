#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <strings.h>

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/files/file_store.h"

namespace tolvar {

namespace {

constexpr mode_t kOwner = 0600;
constexpr mode_t kEveryone = 0666;
constexpr mode_t kUsual = 0644; ///< of a new file, less what the user's mask takes

Result<void> Answer(int result, const std::string& what)
{
    return result == 0 ? Result<void>() : Failure(ErrorCodeFromErrno(errno), what);
}

class SystemFile final : public StoredFile {
public:
    SystemFile(int descriptor, std::string name) : m_descriptor(descriptor), m_name(std::move(name)) {}
    ~SystemFile() override { close(m_descriptor); }
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;

    Result<std::uint64_t> Size() const override
    {
        struct stat status = {};
        if (fstat(m_descriptor, &status) != 0) {
            return Failure(ErrorCodeFromErrno(errno), m_name);
        }
        return static_cast<std::uint64_t>(status.st_size);
    }

    Result<void> Read(std::uint64_t offset, std::span<std::byte> out) const override
    {
        while (!out.empty()) {
            const ssize_t got = pread(m_descriptor, out.data(), out.size(), static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                return Failure(got == 0 ? ErrorCode::kReadFault : ErrorCodeFromErrno(errno), "read " + m_name);
            }
            out = out.subspan(static_cast<std::size_t>(got));
            offset += static_cast<std::uint64_t>(got);
        }
        return {};
    }

    Result<void> Write(std::uint64_t offset, std::span<const std::byte> bytes) override
    {
        while (!bytes.empty()) {
            ssize_t put = pwrite(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (put < 0 && errno == ESPIPE) { // it has no places, and takes them as they come
                put = write(m_descriptor, bytes.data(), bytes.size());
            }
            if (put < 0 && errno == EINTR) {
                continue;
            }
            if (put <= 0) {
                return Failure(put == 0 ? ErrorCode::kDiskFull : ErrorCodeFromErrno(errno), "write " + m_name);
            }
            bytes = bytes.subspan(static_cast<std::size_t>(put));
            offset += static_cast<std::uint64_t>(put);
        }
        return {};
    }

    Result<void> Resize(std::uint64_t size) override
    {
        return Answer(ftruncate(m_descriptor, static_cast<off_t>(size)), "resize " + m_name);
    }

    Result<void> Sync() override
    {
        const int result = fsync(m_descriptor);
        return result != 0 && errno == EINVAL ? Result<void>() // a pipe or terminal keeps nothing
                                              : Answer(result, "write " + m_name);
    }

    Result<void> Lock() override
    {
        if (flock(m_descriptor, LOCK_EX | LOCK_NB) == 0) {
            return {};
        }
        if (errno != EWOULDBLOCK) {
            return Failure(ErrorCodeFromErrno(errno), "lock " + m_name);
        }
        const std::string holder = LockHolder();
        return Failure(ErrorCode::kSharingViolation, holder.empty()
                                                         ? m_name + " is in use"
                                                         : fmt::format("{} is in use by process {}", m_name, holder));
    }

    Result<void> CheckName() const override
    {
        struct stat opened = {};
        struct stat named = {};
        if (fstat(m_descriptor, &opened) != 0) {
            return Failure(ErrorCodeFromErrno(errno), m_name);
        }
        if (stat(m_name.c_str(), &named) != 0) {
            return errno == ENOENT || errno == ENOTDIR
                       ? Failure(ErrorCode::kFileNotFound, m_name + " was removed or renamed while it was open")
                       : Failure(ErrorCodeFromErrno(errno), m_name);
        }
        return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino
                   ? Result<void>()
                   : Failure(ErrorCode::kSharingViolation, m_name + " was replaced by another file while it was open");
    }

    Result<std::uint64_t> ChangeStamp() const override
    {
        struct stat status = {};
        if (fstat(m_descriptor, &status) != 0) {
            return Failure(ErrorCodeFromErrno(errno), m_name);
        }
        return static_cast<std::uint64_t>(status.st_mtim.tv_sec) * 1'000'000'000U +
               static_cast<std::uint64_t>(status.st_mtim.tv_nsec) + (static_cast<std::uint64_t>(status.st_size) << 20U);
    }

private:
    /// The process that the kernel's table of locks names for this file; empty where it names none.
    [[nodiscard]] std::string LockHolder() const;

    int m_descriptor;
    std::string m_name;
};

std::string SystemFile::LockHolder() const
{
    struct stat status = {};
    FILE* table = std::fopen("/proc/locks", "re");
    if (table == nullptr) {
        return {};
    }
    std::string holder;
    char line[256];
    unsigned long inode = 0;
    int process = 0;
    // "1: FLOCK  ADVISORY  WRITE 2301 fe:01:1234567 0 EOF"
    while (fstat(m_descriptor, &status) == 0 && std::fgets(line, sizeof line, table) != nullptr) {
        if (std::sscanf(line, "%*s FLOCK %*s %*s %d %*x:%*x:%lu", &process, &inode) == 2 && inode == status.st_ino &&
            process > 0) {
            holder = std::to_string(process);
        }
    }
    std::fclose(table);
    return holder;
}

/// Whether a new file has the same further users now as another one: they give the group's bits another meaning.
bool TakeFurtherUsersOf(const std::filesystem::path& like, int descriptor)
{
    constexpr const char* kAccessList = "system.posix_acl_access";
    std::vector<char> list(XATTR_SIZE_MAX);
    const ssize_t size = getxattr(like.c_str(), kAccessList, list.data(), list.size());
    if (size < 0) { // none; but the folder may have given the new file some
        return fremovexattr(descriptor, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP;
    }
    return fsetxattr(descriptor, kAccessList, list.data(), static_cast<std::size_t>(size), 0) == 0;
}

/// Gives a file that is its owner's alone so far the owner and the rights of another one, as far as it goes.
void TakeRights(const struct stat& like, const std::filesystem::path& name, int descriptor)
{
    mode_t mode = like.st_mode & kEveryone;
    if (fchown(descriptor, like.st_uid, like.st_gid) != 0 &&
        fchown(descriptor, static_cast<uid_t>(-1), like.st_gid) != 0) {
        mode &= ~mode_t{S_IRWXG} | ((mode & S_IRWXO) << 3U); // its group is another one, which gets what all have
    }
    const bool isSame = TakeFurtherUsersOf(name, descriptor);
    static_cast<void>(fchmod(descriptor, isSame ? mode : mode & kOwner));
}

class SystemFileStore final : public FileStore {
public:
    Result<std::unique_ptr<StoredFile>> Open(const std::filesystem::path& file, Mode mode) override
    {
        const int flags = mode == Mode::kRead     ? O_RDONLY
                          : mode == Mode::kWrite  ? O_RDWR
                          : mode == Mode::kStream ? O_WRONLY
                                                  : O_RDWR | O_CREAT;
        const int descriptor = open(file.c_str(), flags | O_CLOEXEC | O_NOCTTY, kOwner);
        if (descriptor < 0) {
            return Failure(ErrorCodeFromErrno(errno), "open " + file.string());
        }
        return std::make_unique<SystemFile>(descriptor, file.string());
    }

    Result<std::unique_ptr<StoredFile>> Create(const std::filesystem::path& file,
                                               const std::filesystem::path& like) override
    {
        struct stat model = {};
        const bool hasModel = !like.empty() && stat(like.c_str(), &model) == 0;
        const int descriptor =
            open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, hasModel ? kOwner : kUsual);
        if (descriptor < 0) {
            return Failure(ErrorCodeFromErrno(errno), "make " + file.string());
        }
        auto made = std::make_unique<SystemFile>(descriptor, file.string());
        if (hasModel) {
            TakeRights(model, like, descriptor);
        }
        return made;
    }

    Result<MappedFile> Map(const std::filesystem::path& file, std::size_t room) override
    {
        return MappedFile::OpenPrivate(file, room);
    }

    Result<MappedFile> MapForReading(const std::filesystem::path& file) override { return MappedFile::Open(file); }

    bool Exists(const std::filesystem::path& file) override
    {
        struct stat status = {};
        return lstat(file.c_str(), &status) == 0;
    }

    Kind KindOf(const std::filesystem::path& file) override
    {
        struct stat status = {};
        return stat(file.c_str(), &status) != 0 ? Kind::kMissing
               : S_ISDIR(status.st_mode)        ? Kind::kFolder
               : S_ISREG(status.st_mode)        ? Kind::kRegular
                                                : Kind::kStream;
    }

    Result<std::filesystem::path> RealPath(const std::filesystem::path& file) override
    {
        if (const std::unique_ptr<char, void (*)(void*)> real(realpath(file.c_str(), nullptr), std::free); real) {
            return real.get();
        }
        constexpr int kMostLinks = 40;
        std::filesystem::path at = file; // a link to what is not there yet is followed as well
        std::error_code error;
        for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(at, error); ++i) {
            at = at.parent_path() / std::filesystem::read_symlink(at, error);
        }
        const std::filesystem::path folder = at.has_parent_path() ? at.parent_path() : ".";
        const std::unique_ptr<char, void (*)(void*)> real(realpath(folder.c_str(), nullptr), std::free);
        if (!real || std::filesystem::is_symlink(at, error)) {
            return Failure(real ? ErrorCode::kPathNotFound : ErrorCodeFromErrno(errno), "open " + file.string());
        }
        return std::filesystem::path(real.get()) / at.filename();
    }

    Result<std::optional<std::filesystem::path>> Find(const std::filesystem::path& file) override
    {
        struct stat status = {};
        if (stat(file.c_str(), &status) == 0) {
            return file;
        }
        if (errno != ENOENT) {
            return Failure(ErrorCodeFromErrno(errno), "open " + file.string());
        }
        const Result<std::vector<std::string>> names = List(file.has_parent_path() ? file.parent_path() : ".");
        if (!names) {
            return tl::unexpected(names.error());
        }
        const auto found = std::ranges::find_if(*names, [wanted = file.filename()](const std::string& name) {
            return strcasecmp(name.c_str(), wanted.c_str()) == 0;
        });
        return found != names->end() ? std::optional(file.parent_path() / *found) : std::nullopt;
    }

    Result<void> Remove(const std::filesystem::path& file) override
    {
        return Answer(unlink(file.c_str()), "remove " + file.string());
    }

    Result<void> Rename(const std::filesystem::path& from, const std::filesystem::path& to) override
    {
        return Answer(rename(from.c_str(), to.c_str()), "rename " + from.string());
    }

    Result<void> RenameNew(const std::filesystem::path& from, const std::filesystem::path& to) override
    {
        const std::string what = "rename " + from.string();
        if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
            return {};
        }
        if (errno != EINVAL && errno != ENOSYS) {
            return Failure(ErrorCodeFromErrno(errno), what);
        }
        if (link(from.c_str(), to.c_str()) == 0) { // a file system that knows no such renaming, but two names
            return Remove(from);
        }
        if (errno == EEXIST || Exists(to)) {
            return Failure(ErrorCode::kAlreadyExists, what);
        }
        return Rename(from, to);
    }

    Result<void> MakeFolder(const std::filesystem::path& folder) override
    {
        constexpr mode_t kPermissions = 0700;
        struct stat status = {};
        if (folder.empty() || (stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode))) {
            return {};
        }
        if (auto made = MakeFolder(folder.parent_path()); !made) {
            return made;
        }
        if (mkdir(folder.c_str(), kPermissions) != 0 && (errno != EEXIST || KindOf(folder) != Kind::kFolder)) {
            return Failure(ErrorCodeFromErrno(errno), "make " + folder.string());
        }
        return SyncFolder(folder.parent_path());
    }

    Result<std::vector<std::string>> List(const std::filesystem::path& folder) override
    {
        const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
        if (!opened) {
            return Failure(ErrorCodeFromErrno(errno), "open " + folder.string());
        }
        std::vector<std::string> names;
        errno = 0;
        for (const dirent* entry = readdir(opened.get()); entry != nullptr; entry = readdir(opened.get())) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                names.emplace_back(name);
            }
            errno = 0;
        }
        return errno == 0 ? Result<std::vector<std::string>>(std::move(names))
                          : Failure(ErrorCodeFromErrno(errno), "read " + folder.string());
    }

    /// From some number on, what all the file's file systems have to write is less work than one file after the other.
    Result<void> SyncAll(std::span<const std::filesystem::path> files) override
    {
        constexpr std::size_t kFew = 64;
        if (files.size() <= kFew) {
            return FileStore::SyncAll(files);
        }
        std::vector<dev_t> synced;
        std::filesystem::path last;
        for (const std::filesystem::path& file : files) {
            std::filesystem::path folder = file.parent_path();
            struct stat status = {};
            if (folder == last) {
                continue;
            }
            if (stat(folder.c_str(), &status) != 0) {
                return Failure(ErrorCodeFromErrno(errno), folder.string());
            }
            if (std::ranges::find(synced, status.st_dev) == synced.end()) {
                if (auto done = SyncFileSystem(folder); !done) {
                    return done;
                }
                synced.push_back(status.st_dev);
            }
            last = std::move(folder);
        }
        return {};
    }

    Result<void> SyncFolder(const std::filesystem::path& folder) override
    {
        const std::filesystem::path name = folder.empty() ? "." : folder;
        const int descriptor = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor < 0) {
            return Failure(ErrorCodeFromErrno(errno), "open " + name.string());
        }
        const int result = fsync(descriptor);
        const int error = errno;
        close(descriptor);
        // Some file systems have no durable folders to offer; their files are none the worse for it.
        return result == 0 || error == EINVAL ? Result<void>()
                                              : Failure(ErrorCodeFromErrno(error), "write " + name.string());
    }

private:
    /// Of the file system that a folder lies in. Its write errors are told since Linux 5.8.
    static Result<void> SyncFileSystem(const std::filesystem::path& folder)
    {
        const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor < 0) {
            return Failure(ErrorCodeFromErrno(errno), "open " + folder.string());
        }
        const Result<void> done = Answer(syncfs(descriptor), "write " + folder.string());
        close(descriptor);
        return done;
    }
};

} // namespace

FileStore& SystemFiles()
{
    static SystemFileStore store;
    return store;
}

} // namespace tolvar
