#include "platform/system/error.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace tolvar {
namespace {

TEST(ErrorTexts, AreThePlatformsOrNameANumberThatHasNone)
{
    EXPECT_EQ(FormatMessageText(ErrorCode::kSuccess), "The operation completed successfully.");
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
