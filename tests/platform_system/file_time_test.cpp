#include "platform/system/file_time.h"

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

namespace tolvar {
namespace {

TEST(FileTime, IsWrittenForEveryNumber)
{
    struct Case {
        std::uint64_t time;
        const char* text;
    };
    for (const Case& c : {
             Case{0, "1601-01-01T00:00:00.0000000Z"},
             Case{0x014F6598C43F8000, "1900-03-01T00:00:00.0000000Z"},
             Case{0x019DB1DED53E8000, "1970-01-01T00:00:00.0000000Z"},
             Case{0x01BF831116363FFF, "2000-02-29T23:59:59.9999999Z"},
             Case{0x01C4111DB749B000, "2004-03-23T21:28:00.0000000Z"},
             Case{0x022F9EF713598001, "2100-02-28T00:00:00.0000001Z"},
             Case{0x24C85A5ED127A980, "9999-12-31T23:59:59.0000000Z"},
             Case{0xFFFFFFFFFFFFFFFF, "60056-05-28T05:36:10.9551615Z"},
         }) {
        std::string text = "at ";
        AppendIsoTime(text, c.time);
        EXPECT_EQ(text, std::string("at ") + c.text);
    }
}

TEST(FileTime, IsShownInTheUsersZone)
{
    setenv("TZ", "TST-2", 1);
    tzset();
    EXPECT_EQ(LocalTimeText(0x01C4111DB749B000), "Tue Mar 23 23:28:00 2004");
    EXPECT_NE(LocalTimeText(0xFFFFFFFFFFFFFFFF), "");
    unsetenv("TZ");
    tzset();
}

} // namespace
} // namespace tolvar
