#include <gtest/gtest.h>

#include "session/journal_source.h"

namespace tolvar {
namespace {

TEST(SourceId, TellsSourcesApartAndIsTheSameForTheSameOne)
{
    const MountRequest a{"/tmp/a", "HKEY_USERS\\A"};
    const MountRequest b{"/tmp/b", "HKEY_USERS\\B"};
    const auto id = [](std::vector<MountRequest> mounts) { return SourceId(mounts); };
    EXPECT_EQ(id({a, b}), id({b, a}));
    EXPECT_EQ(id({a}), id({{"/tmp/../tmp/./a", "hkey_users\\a"}}));
    EXPECT_EQ(id({{"/tmp/a", ""}}), id({{"/tmp/a", "HKEY_LOCAL_MACHINE\\a"}}));
    EXPECT_NE(id({a}), id({{"/tmp/a", "HKEY_USERS\\B"}}));
    EXPECT_NE(id({a}), id({a, b}));
    EXPECT_EQ(id({a}).size(), 16U);
}

} // namespace
} // namespace tolvar
