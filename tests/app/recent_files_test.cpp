#include <gtest/gtest.h>

#include "app/recent_files.h"
#include "fixtures/window_fixture.h"

namespace tolvar {
namespace {

TEST(RecentFiles, KeepsTheFourNewest)
{
    fixtures::MemoryProfile profile;
    RecentFiles recent(profile);
    for (const char* file : {"a", "b", "c", "a", "d", "e"}) {
        recent.Add(file);
    }
    EXPECT_EQ(recent.List(), (std::vector<std::string>{"e", "d", "a", "c"}));
    recent.Remove("d");
    EXPECT_EQ(RecentFiles(profile).List(), (std::vector<std::string>{"e", "a", "c"}));
}

} // namespace
} // namespace tolvar
