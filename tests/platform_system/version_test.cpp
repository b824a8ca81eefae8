#include "platform/system/version.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace tolvar {
namespace {

TEST(PlatformVersionTest, IsThatOfTheNTFamilyUnlessAWellFormedSettingSaysOtherwise)
{
    struct Case {
        const char* setting;
        std::uint32_t platformId;
        std::uint32_t major;
        std::uint32_t minor;
    };
    for (const Case& c : {Case{nullptr, 2, 5, 1}, Case{"9x", 1, 4, 10}, Case{"4.0", 2, 4, 0}, Case{"10.0", 2, 10, 0},
                          Case{"", 2, 5, 1}, Case{"4", 2, 5, 1}, Case{"4.", 2, 5, 1}, Case{".4", 2, 5, 1},
                          Case{"4.0x", 2, 5, 1}, Case{"4.99999999999", 2, 5, 1}}) {
        SCOPED_TRACE(c.setting != nullptr ? c.setting : "no setting");
        if (c.setting != nullptr) {
            setenv("TOLVAR_PLATFORM", c.setting, 1);
        } else {
            unsetenv("TOLVAR_PLATFORM");
        }
        const PlatformVersion version = GetPlatformVersion();
        EXPECT_EQ(version.platformId, c.platformId);
        EXPECT_EQ(version.major, c.major);
        EXPECT_EQ(version.minor, c.minor);
        EXPECT_EQ(version.IsNT(), c.platformId == 2);
    }
    unsetenv("TOLVAR_PLATFORM");
}

} // namespace
} // namespace tolvar
