#pragma once

#include <cstdint>
#include <string>

#include <tl/expected.hpp>

namespace tolvar {

/// The platform's own error numbers, as far as this system answers or tests them.
enum class ErrorCode : std::uint32_t {
    kSuccess = 0,
    kInvalidFunction = 1,
    kFileNotFound = 2,
    kPathNotFound = 3,
    kAccessDenied = 5,
    kInvalidHandle = 6,
    kNotEnoughMemory = 8,
    kInvalidData = 13,
    kWriteProtect = 19,
    kBadCommand = 22,
    kReadFault = 30,
    kSharingViolation = 32,
    kNotSupported = 50,
    kInvalidParameter = 87,
    kDiskFull = 112,
    kInsufficientBuffer = 122,
    kInvalidName = 123,
    kBusy = 170,
    kAlreadyExists = 183,
    kMoreData = 234,
    kNoMoreItems = 259,
    kDirectory = 267,
    kBadKey = 1010,
    kCantOpen = 1011,
    kCantRead = 1012,
    kRegistryCorrupt = 1015,
    kRegistryIoFailed = 1016,
    kNotRegistryFile = 1017,
    kKeyDeleted = 1018,
    kNoUnicodeTranslation = 1113,
    kIoDevice = 1117,
    kRevisionMismatch = 1306,
    kNoneMapped = 1332,
    kInvalidSid = 1337,
    kInvalidSecurityDescriptor = 1338,
    kFileInvalid = 1006,
    kFileCorrupt = 1392,
    kCantResolveFilename = 1921,
};

/// A system error code and where it arose. kSuccess is no Error: see Result.
struct Error {
    ErrorCode code = ErrorCode::kInvalidFunction;
    std::string context; ///< what was tried, on what: "open /media/disk/SOFTWARE", "cell at 0x4a20"; may be empty
};

template <class T>
using Result = tl::expected<T, Error>;

/// An Error ready to be returned where a Result is expected.
[[nodiscard]] inline tl::unexpected<Error> Failure(ErrorCode code, std::string context = {})
{
    return tl::unexpected<Error>(Error{code, std::move(context)});
}

/// The system's text for a code, without a line end. A code that is not in the table gives "Unknown error" and its
/// number.
[[nodiscard]] std::string FormatMessageText(ErrorCode code);

/// One line for a person: the context, the system's text and, in brackets, the number.
[[nodiscard]] std::string Describe(const Error& error);

/// The platform's code that fits an errno value best; kIoDevice where none does.
[[nodiscard]] ErrorCode ErrorCodeFromErrno(int value) noexcept;

} // namespace tolvar
