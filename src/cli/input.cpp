#include "cli/input.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace tolvar {

namespace {

Result<std::string> ReadAll(int descriptor, const std::string& name)
{
    constexpr std::size_t kBlock = 65536;
    std::string bytes;
    while (true) {
        const std::size_t held = bytes.size();
        bytes.resize(held + kBlock);
        const ssize_t got = read(descriptor, bytes.data() + held, kBlock);
        bytes.resize(held + (got > 0 ? static_cast<std::size_t>(got) : 0));
        if (got == 0) {
            return bytes;
        }
        if (got < 0 && errno != EINTR) {
            return Failure(ErrorCodeFromErrno(errno), "read " + name);
        }
    }
}

} // namespace

Result<std::string> ReadInput(const std::string& file)
{
    if (file == "-") {
        return ReadAll(STDIN_FILENO, "standard input");
    }
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        return Failure(ErrorCodeFromErrno(errno), "open " + file);
    }
    Result<std::string> bytes = ReadAll(descriptor, file);
    close(descriptor);
    return bytes;
}

} // namespace tolvar
