#include "platform/system/error.h"

#include <cerrno>

#include <fmt/format.h>

namespace tolvar {

namespace {

/// The platform's wording; null for a code that has none here. The compiler sees to it that every code has one.
const char* TextOf(ErrorCode code)
{
    switch (code) {
    case ErrorCode::kSuccess:
        return "The operation completed successfully.";
    case ErrorCode::kInvalidFunction:
        return "Incorrect function.";
    case ErrorCode::kFileNotFound:
        return "The system cannot find the file specified.";
    case ErrorCode::kPathNotFound:
        return "The system cannot find the path specified.";
    case ErrorCode::kAccessDenied:
        return "Access is denied.";
    case ErrorCode::kInvalidHandle:
        return "The handle is invalid.";
    case ErrorCode::kNotEnoughMemory:
        return "Not enough storage is available to process this command.";
    case ErrorCode::kInvalidData:
        return "The data is invalid.";
    case ErrorCode::kWriteProtect:
        return "The media is write protected.";
    case ErrorCode::kBadCommand:
        return "The device does not recognize the command.";
    case ErrorCode::kReadFault:
        return "The system cannot read from the specified device.";
    case ErrorCode::kSharingViolation:
        return "The process cannot access the file because it is being used by another process.";
    case ErrorCode::kNotSupported:
        return "The request is not supported.";
    case ErrorCode::kInvalidParameter:
        return "The parameter is incorrect.";
    case ErrorCode::kDiskFull:
        return "There is not enough space on the disk.";
    case ErrorCode::kInsufficientBuffer:
        return "The data area passed to a system call is too small.";
    case ErrorCode::kInvalidName:
        return "The filename, directory name, or volume label syntax is incorrect.";
    case ErrorCode::kBusy:
        return "The requested resource is in use.";
    case ErrorCode::kAlreadyExists:
        return "Cannot create a file when that file already exists.";
    case ErrorCode::kMoreData:
        return "More data is available.";
    case ErrorCode::kNoMoreItems:
        return "No more data is available.";
    case ErrorCode::kDirectory:
        return "The directory name is invalid.";
    case ErrorCode::kBadKey:
        return "The configuration registry key is invalid.";
    case ErrorCode::kCantOpen:
        return "The configuration registry key could not be opened.";
    case ErrorCode::kCantRead:
        return "The configuration registry key could not be read.";
    case ErrorCode::kRegistryCorrupt:
        return "The registry is corrupted.";
    case ErrorCode::kRegistryIoFailed:
        return "An I/O operation initiated by the registry failed unrecoverably.";
    case ErrorCode::kNotRegistryFile:
        return "The file is not in a registry file format.";
    case ErrorCode::kKeyDeleted:
        return "Illegal operation attempted on a registry key that has been marked for deletion.";
    case ErrorCode::kNoUnicodeTranslation:
        return "No mapping for the Unicode character exists in the target multi-byte code page.";
    case ErrorCode::kIoDevice:
        return "The request could not be performed because of an I/O device error.";
    case ErrorCode::kRevisionMismatch:
        return "Indicates two revision levels are incompatible.";
    case ErrorCode::kNoneMapped:
        return "No mapping between account names and security IDs was done.";
    case ErrorCode::kInvalidSid:
        return "The security ID structure is invalid.";
    case ErrorCode::kInvalidSecurityDescriptor:
        return "The security descriptor structure is invalid.";
    case ErrorCode::kCantResolveFilename:
        return "The name of the file cannot be resolved by the system.";
    case ErrorCode::kFileInvalid:
        return "The volume for a file has been externally altered so that the opened file is no longer valid.";
    case ErrorCode::kFileCorrupt:
        return "The file or directory is corrupted and unreadable.";
    }
    return nullptr;
}

} // namespace

std::string FormatMessageText(ErrorCode code)
{
    const char* const text = TextOf(code);
    return text != nullptr ? text : fmt::format("Unknown error {}.", static_cast<std::uint32_t>(code));
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
