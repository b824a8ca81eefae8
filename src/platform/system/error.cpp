#include "platform/system/error.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fmt/format.h>

namespace tolvar {

namespace {

struct MessageText {
    std::uint32_t code;
    const char* text;
};

/// In order of their numbers. The wording is the platform's.
constexpr std::array kTexts = {
    MessageText{0, "The operation completed successfully."},
    MessageText{1, "Incorrect function."},
    MessageText{2, "The system cannot find the file specified."},
    MessageText{3, "The system cannot find the path specified."},
    MessageText{5, "Access is denied."},
    MessageText{6, "The handle is invalid."},
    MessageText{8, "Not enough storage is available to process this command."},
    MessageText{13, "The data is invalid."},
    MessageText{19, "The media is write protected."},
    MessageText{22, "The device does not recognize the command."},
    MessageText{30, "The system cannot read from the specified device."},
    MessageText{32, "The process cannot access the file because it is being used by another process."},
    MessageText{50, "The request is not supported."},
    MessageText{87, "The parameter is incorrect."},
    MessageText{112, "There is not enough space on the disk."},
    MessageText{122, "The data area passed to a system call is too small."},
    MessageText{123, "The filename, directory name, or volume label syntax is incorrect."},
    MessageText{183, "Cannot create a file when that file already exists."},
    MessageText{234, "More data is available."},
    MessageText{259, "No more data is available."},
    MessageText{267, "The directory name is invalid."},
    MessageText{1010, "The configuration registry key is invalid."},
    MessageText{1011, "The configuration registry key could not be opened."},
    MessageText{1012, "The configuration registry key could not be read."},
    MessageText{1015, "The registry is corrupted."},
    MessageText{1016, "An I/O operation initiated by the registry failed unrecoverably."},
    MessageText{1017, "The file is not in a registry file format."},
    MessageText{1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    MessageText{1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    MessageText{1117, "The request could not be performed because of an I/O device error."},
    MessageText{1306, "Indicates two revision levels are incompatible."},
    MessageText{1332, "No mapping between account names and security IDs was done."},
    MessageText{1337, "The security ID structure is invalid."},
    MessageText{1338, "The security descriptor structure is invalid."},
    MessageText{1392, "The file or directory is corrupted and unreadable."},
};

} // namespace

std::string FormatMessageText(ErrorCode code)
{
    const auto number = static_cast<std::uint32_t>(code);
    const auto at = std::ranges::lower_bound(kTexts, number, {}, &MessageText::code);
    return at != kTexts.end() && at->code == number ? at->text : fmt::format("Unknown error {}.", number);
}

std::string Describe(const Error& error)
{
    const std::string text =
        fmt::format("{} ({})", FormatMessageText(error.code), static_cast<std::uint32_t>(error.code));
    return error.context.empty() ? text : error.context + ": " + text;
}

ErrorCode ErrorCodeFromErrno(int value) noexcept
{
    switch (value) {
    case ENOENT:
        return ErrorCode::kFileNotFound;
    case ENOTDIR:
    case ELOOP:
        return ErrorCode::kPathNotFound;
    case EACCES:
    case EPERM:
        return ErrorCode::kAccessDenied;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        return ErrorCode::kNotEnoughMemory;
    case EROFS:
        return ErrorCode::kWriteProtect;
    case EBUSY:
    case ETXTBSY:
        return ErrorCode::kSharingViolation;
    case EISDIR:
        return ErrorCode::kDirectory;
    case ENOSPC:
    case EDQUOT:
        return ErrorCode::kDiskFull;
    case EEXIST:
        return ErrorCode::kAlreadyExists;
    case EINVAL:
        return ErrorCode::kInvalidParameter;
    case ENAMETOOLONG:
        return ErrorCode::kInvalidName;
    case ENODEV:
    case EOPNOTSUPP:
        return ErrorCode::kNotSupported;
    default:
        return ErrorCode::kIoDevice;
    }
}

} // namespace tolvar
