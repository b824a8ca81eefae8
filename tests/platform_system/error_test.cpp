#include "platform/system/error.h"

#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvar {
namespace {

TEST(ErrorTexts, ExistForEveryCode)
{
    using enum ErrorCode;
    for (const ErrorCode code : {kSuccess,
                                 kInvalidFunction,
                                 kFileNotFound,
                                 kPathNotFound,
                                 kAccessDenied,
                                 kInvalidHandle,
                                 kNotEnoughMemory,
                                 kInvalidData,
                                 kWriteProtect,
                                 kReadFault,
                                 kSharingViolation,
                                 kNotSupported,
                                 kInvalidParameter,
                                 kDiskFull,
                                 kInsufficientBuffer,
                                 kInvalidName,
                                 kAlreadyExists,
                                 kMoreData,
                                 kNoMoreItems,
                                 kDirectory,
                                 kBadKey,
                                 kCantOpen,
                                 kCantRead,
                                 kRegistryCorrupt,
                                 kRegistryIoFailed,
                                 kNotRegistryFile,
                                 kKeyDeleted,
                                 kNoUnicodeTranslation,
                                 kIoDevice,
                                 kRevisionMismatch,
                                 kNoneMapped,
                                 kInvalidSid,
                                 kInvalidSecurityDescriptor,
                                 kFileCorrupt}) {
        EXPECT_THAT(FormatMessageText(code), testing::Not(testing::HasSubstr("Unknown")))
            << static_cast<std::uint32_t>(code);
    }
    EXPECT_EQ(FormatMessageText(static_cast<ErrorCode>(4)), "Unknown error 4.");
    EXPECT_EQ(FormatMessageText(static_cast<ErrorCode>(0xFFFFFFFF)), "Unknown error 4294967295.");
}

TEST(ErrorTexts, SayWhatWasTriedAndTheNumber)
{
    EXPECT_EQ(Describe({ErrorCode::kAccessDenied, "open /x"}), "open /x: Access is denied. (5)");
    EXPECT_EQ(Describe({ErrorCode::kFileNotFound, ""}), "The system cannot find the file specified. (2)");
}

TEST(ErrorCodes, StandForTheErrorsOfThisSystem)
{
    struct Case {
        int error;
        ErrorCode code;
    };
    for (const Case& c : {Case{ENOENT, ErrorCode::kFileNotFound}, Case{ENOTDIR, ErrorCode::kPathNotFound},
                          Case{EACCES, ErrorCode::kAccessDenied}, Case{EPERM, ErrorCode::kAccessDenied},
                          Case{EMFILE, ErrorCode::kNotEnoughMemory}, Case{EROFS, ErrorCode::kWriteProtect},
                          Case{EISDIR, ErrorCode::kDirectory}, Case{ENOSPC, ErrorCode::kDiskFull},
                          Case{EEXIST, ErrorCode::kAlreadyExists}, Case{EIO, ErrorCode::kIoDevice},
                          Case{99999, ErrorCode::kIoDevice}}) {
        EXPECT_EQ(ErrorCodeFromErrno(c.error), c.code) << c.error;
    }
}

} // namespace
} // namespace tolvar
