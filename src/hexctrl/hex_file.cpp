#include "hexctrl/hex_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <span>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tolvar {

namespace {

class FileHandle {
public:
    explicit FileHandle(int descriptor) : m_nDescriptor(descriptor) {}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle() { Close(); }

    [[nodiscard]] int Get() const { return m_nDescriptor; }
    bool Close()
    {
        const int descriptor = std::exchange(m_nDescriptor, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_nDescriptor;
};

HexCode LastError()
{
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
        return HexCode::kFileNotFound;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
        return HexCode::kAccessDenied;
    case ENOMEM:
        return HexCode::kNotEnoughMemory;
    default:
        return HexCode::kGeneralFailure;
    }
}

/// The file behind links, so that a save replaces it and not the link. As given where it doesn't exist yet.
std::string RealName(const std::string& name)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name.c_str(), nullptr), &std::free);
    return real ? std::string(real.get()) : name;
}

/// The result of a call that a signal may interrupt before it has done anything.
template <typename Call>
ssize_t Retried(const Call& call)
{
    ssize_t result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Writes all chunks; returns how many bytes got through.
std::uint64_t WriteAll(int descriptor, const ByteStore& bytes)
{
    std::uint64_t done = 0;
    while (done < bytes.Size()) {
        const auto chunk = bytes.ChunkFrom(done);
        const ssize_t count = Retried([&] { return ::write(descriptor, chunk.data(), chunk.size()); });
        if (count <= 0) {
            break;
        }
        done += static_cast<std::uint64_t>(count);
    }
    return done;
}

mode_t ModeOf(const std::string& name)
{
    struct stat old {};
    if (::stat(name.c_str(), &old) == 0) {
        return old.st_mode & 07777;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

HexCode ReadHexFile(const std::string& name, std::vector<std::uint8_t>& bytes)
{
    const FileHandle file(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) {
        return LastError();
    }
    if (!S_ISREG(status.st_mode)) {
        return HexCode::kAccessDenied;
    }
    try {
        bytes.resize(static_cast<std::size_t>(status.st_size));
    } catch (const std::exception&) { // no memory, or more than a vector can hold
        return HexCode::kNotEnoughMemory;
    }
    std::span<std::uint8_t> rest(bytes);
    while (!rest.empty()) {
        const ssize_t count = Retried([&] { return ::read(file.Get(), rest.data(), rest.size()); });
        if (count < 0) {
            return LastError();
        }
        if (count == 0) {
            break; // the file has become shorter
        }
        rest = rest.subspan(static_cast<std::size_t>(count));
    }
    bytes.resize(bytes.size() - rest.size());
    return HexCode::kSuccess;
}

std::uint32_t WriteHexFile(const std::string& name, const ByteStore& bytes)
{
    const std::string target = RealName(name);
    std::string fresh = target + ".XXXXXX";
    FileHandle file(::mkostemp(fresh.data(), O_CLOEXEC));
    if (file.Get() < 0) {
        return static_cast<std::uint32_t>(LastError());
    }
    const std::uint64_t written = WriteAll(file.Get(), bytes);
    const bool isSafe = written == bytes.Size() && ::fchmod(file.Get(), ModeOf(target)) == 0 &&
                        ::fsync(file.Get()) == 0 && file.Close();
    if (!isSafe) {
        ::unlink(fresh.c_str());
        // No number of bytes may look like success.
        constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
        return written == 0 ? static_cast<std::uint32_t>(HexCode::kGeneralFailure)
                            : static_cast<std::uint32_t>(std::min(written, kMost));
    }
    if (::rename(fresh.c_str(), target.c_str()) != 0) {
        const HexCode code = LastError();
        ::unlink(fresh.c_str());
        return static_cast<std::uint32_t>(code);
    }
    return static_cast<std::uint32_t>(HexCode::kSuccess);
}

} // namespace tolvar
