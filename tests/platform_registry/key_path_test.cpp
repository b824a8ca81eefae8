#include "platform/registry/key_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvar {
namespace {

TEST(KeyPathTest, TakesPathsApartAndPutsThemTogether)
{
    struct Case {
        const char* path;
        FirstAndRest first;
        const char* parent;
        const char* last;
        bool isSplit; ///< by SplitLast
        const char* trimmed;
        std::vector<std::string> names;
    };
    for (const Case& c : {
             Case{"", {"", ""}, "", "", false, "", {}},
             Case{"a", {"a", ""}, "", "a", false, "a", {"a"}},
             Case{"a\\b", {"a", "b"}, "a", "b", true, "a\\b", {"a", "b"}},
             Case{"a\\bc\\d", {"a", "bc\\d"}, "a\\bc", "d", true, "a\\bc\\d", {"a", "bc", "d"}},
             Case{"a\\b\\", {"a", "b\\"}, "a\\b", "", false, "a\\b", {"a", "b"}},
             Case{"\\a", {"", "a"}, "", "a", true, "\\a", {"a"}},
             Case{"a\\\\b\\\\", {"a", "\\b\\\\"}, "a\\\\b\\", "", false, "a\\\\b", {"a", "b"}},
             Case{"\\", {"", ""}, "", "", false, "", {}},
         }) {
        SCOPED_TRACE(c.path);
        const std::string_view path = c.path;
        EXPECT_EQ(SplitFirst(path).first, c.first.first);
        EXPECT_EQ(SplitFirst(path).rest, c.first.rest);
        EXPECT_EQ(ParentPath(path), c.parent);
        EXPECT_EQ(LastName(path), c.last);
        const std::optional<ParentAndName> split = SplitLast(path);
        EXPECT_EQ(split.has_value(), c.isSplit);
        EXPECT_TRUE(!split || (split->parent == c.parent && split->name == c.last));
        EXPECT_EQ(TrimPathEnd(path), c.trimmed);
        EXPECT_EQ(HoldsSeparator(path), path.find('\\') != std::string_view::npos);
        std::vector<std::string> names;
        std::vector<bool> isLast;
        const PathNames all(path);
        for (auto name = all.begin(); name != all.end(); ++name) {
            names.emplace_back(*name);
            EXPECT_EQ(name.IsLast(), names.size() == c.names.size());
        }
        EXPECT_EQ(names, c.names);
    }
    EXPECT_EQ(JoinPath("a", "b"), "a\\b");
    EXPECT_EQ(JoinPath("", "b"), "b");
    EXPECT_EQ(JoinPath("a", ""), "a");
}

TEST(KeyPathTest, TellsWhatLiesBelowWithoutRegardToCase)
{
    struct Case {
        const char* path;
        const char* top;
        std::optional<std::string_view> below;
    };
    for (const Case& c : {Case{"a\\b\\c", "a", "b\\c"}, Case{"A\\B", "a\\b", ""}, Case{"a", "a\\b", std::nullopt},
                          Case{"ab", "a", std::nullopt}, Case{"a\\bc", "a\\b", std::nullopt}, Case{"a", "", "a"},
                          Case{"\xC3\xA9\\x", "\xC3\x89", "x"}}) {
        EXPECT_EQ(PathBelow(c.path, c.top), c.below) << testing::PrintToString(c.path) << " below " << c.top;
    }
}

TEST(KeyPathTest, KnowsTheRootsByNameShortNameAndHandle)
{
    ASSERT_EQ(RootKeys().size(), 7U);
    for (const RootKey& root : RootKeys()) {
        EXPECT_EQ(FindRoot(root.name), &root);
        EXPECT_EQ(FindRoot(root.handle), &root);
        EXPECT_EQ(FindRootByShortName(root.shortName), &root);
        EXPECT_EQ(FindRoot(root.shortName), nullptr);
        EXPECT_EQ(FindRoot(std::string(root.name) + "X"), nullptr);
    }
    EXPECT_EQ(FindRoot("hkey_Users")->handle, HKEY_USERS);
    EXPECT_EQ(FindRootByShortName("hklm")->handle, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(FindRoot(HKEY{nullptr}), nullptr);
    EXPECT_EQ(FindRoot(""), nullptr);
}

} // namespace
} // namespace tolvar
