#include "platform/registry/name_space.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_registry/name_space_fixture.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST_F(NameSpaceTest, FollowsStoredLinks)
{
    Make("target\\below");
    MakeLink("link", "\\REGISTRY\\USER\\w\\target");
    MakeLink("twice", "\\Registry\\User\\W\\link");
    MakeLink("nowhere", "\\Registry\\User\\W\\none");
    MakeLink("other", "\\Device\\Harddisk0");
    MakeLink("a", "\\Registry\\User\\W\\b");
    MakeLink("b", "\\Registry\\User\\W\\a\\c");
    MakeLink("itself", "\\Registry\\User\\W\\itself");
    struct Case {
        const char* path;
        DWORD options;
        LSTATUS code;
        std::vector<std::string> subkeys;
    };
    for (const Case& c : {
             Case{"link", 0, ERROR_SUCCESS, {"below"}},
             Case{"link\\below", 0, ERROR_SUCCESS, {}},
             Case{"LINK\\none", 0, ERROR_FILE_NOT_FOUND, {}},
             Case{"twice", 0, ERROR_SUCCESS, {"below"}},
             Case{"link", REG_OPTION_OPEN_LINK, ERROR_SUCCESS, {}}, // the link itself has none
             Case{"twice\\below", REG_OPTION_OPEN_LINK, ERROR_SUCCESS, {}},
             Case{"nowhere", 0, ERROR_FILE_NOT_FOUND, {}},
             Case{"nowhere", REG_OPTION_OPEN_LINK, ERROR_SUCCESS, {}},
             Case{"other", 0, ERROR_FILE_NOT_FOUND, {}},
             Case{"a", 0, ERROR_CANT_RESOLVE_FILENAME, {}},
             Case{"b\\x", 0, ERROR_CANT_RESOLVE_FILENAME, {}},
             Case{"itself", 0, ERROR_CANT_RESOLVE_FILENAME, {}},
             Case{"itself", REG_OPTION_OPEN_LINK, ERROR_SUCCESS, {}},
         }) {
        SCOPED_TRACE(c.path);
        HKEY key = nullptr;
        EXPECT_EQ(Open(c.path, key, c.options), c.code);
        EXPECT_EQ(Names(key), c.subkeys);
    }
}

TEST_F(NameSpaceTest, FollowsThirtyTwoLinksAndNoMore)
{
    Make("0");
    for (int i = 1; i <= 33; ++i) {
        MakeLink(std::to_string(i), fmt::format("\\Registry\\User\\W\\{}", i - 1));
    }
    HKEY key = nullptr;
    EXPECT_EQ(Open("32", key), ERROR_SUCCESS);
    EXPECT_EQ(Open("33", key), ERROR_CANT_RESOLVE_FILENAME);
}

TEST_F(NameSpaceTest, LinksOfTheSessionThatGoInACircleLeadNowhere)
{
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\one", "HKEY_USERS\\two"));
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\two", "HKEY_USERS\\one\\x"));
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_USERS, "one\\x", 0, KEY_READ, &key), ERROR_CANT_RESOLVE_FILENAME);
    EXPECT_THAT(Names(HKEY_USERS), UnorderedElementsAre("one", "two", "W"));
    EXPECT_EQ(session.registry.Link("HKEY_USERS\\W", "HKEY_USERS\\one").error().code, ErrorCode::kAlreadyExists);
    EXPECT_EQ(session.registry.Link("NO\\W", "HKEY_USERS\\one").error().code, ErrorCode::kInvalidParameter);
    EXPECT_EQ(session.registry.Link("HKEY_USERS\\W\\l", "nowhere").error().code, ErrorCode::kInvalidParameter);
}

TEST_F(NameSpaceTest, RefusesAPlaceThatIsTooDeepBeforeAnythingIsMade)
{
    for (const unsigned levels : {kMaxDepth - 2, kMaxDepth - 1}) {
        SCOPED_TRACE(levels);
        std::string path = "HKEY_CURRENT_CONFIG";
        for (unsigned i = 0; i < levels; ++i) {
            path += fmt::format("\\{}", levels);
        }
        const Result<void> made = session.registry.Link(path, "HKEY_USERS");
        EXPECT_EQ(made.has_value(), levels == kMaxDepth - 2);
        EXPECT_TRUE(made || made.error().code == ErrorCode::kInvalidParameter);
    }
    EXPECT_THAT(Names(HKEY_CURRENT_CONFIG), ElementsAre(std::to_string(kMaxDepth - 2)));
}

TEST_F(NameSpaceTest, ShowsTwoTreesAsOne)
{
    Make("user\\both\\mine");
    Make("user\\zebra");
    Make("machine\\BOTH\\theirs");
    Make("machine\\apple");
    Set("user\\both", "same", 1);
    Set("user\\both", "user", 2);
    Set("machine\\both", "SAME", 3);
    Set("machine\\both", "machine", 4);
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\user", "HKEY_USERS\\W\\machine"));
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), ElementsAre("apple", "both", "zebra"));
    HKEY both = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "both", 0, KEY_ALL_ACCESS, &both), ERROR_SUCCESS);
    EXPECT_THAT(Names(both), ElementsAre("mine", "theirs"));
    EXPECT_THAT(Values(both), ElementsAre("same=1", "user=2", "machine=4")); // the user's hides the machine's
    DWORD subkeys = 0;
    DWORD values = 0;
    EXPECT_EQ(RegQueryInfoKeyA(both, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subkeys, 2U);
    EXPECT_EQ(values, 3U);

    const BYTE data = 9;
    EXPECT_EQ(SetStoredValue(both, "new", REG_BINARY, {&data, 1}), ERROR_SUCCESS);
    EXPECT_THAT(Values(Make("user\\both")), ElementsAre("same=1", "user=2", "new=9"));
    EXPECT_EQ(RegDeleteValueA(both, "same"), ERROR_SUCCESS);
    EXPECT_THAT(Values(both), ElementsAre("user=2", "new=9", "machine=4")); // gone from both
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExA(both, "made", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr), ERROR_SUCCESS);
    EXPECT_THAT(Names(Make("machine\\both")), ElementsAre("made", "theirs"));
    EXPECT_THAT(Names(Make("user\\both")), ElementsAre("mine"));
}

TEST_F(NameSpaceTest, KeepsHandlesToTwoTreesGoodAsTheirPartsGo)
{
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\user", "HKEY_USERS\\W\\machine"));
    const auto make = [](const std::string& name) {
        Set("user\\" + name, "user", 1);
        Set("machine\\" + name, "machine", 2);
        HKEY merged = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, name.c_str(), 0, KEY_ALL_ACCESS, &merged), ERROR_SUCCESS);
        return merged;
    };
    HKEY merged = make("a");
    EXPECT_THAT(Values(merged), ElementsAre("user=1", "machine=2"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "W\\user\\a"), ERROR_SUCCESS);
    EXPECT_THAT(Values(merged), ElementsAre("machine=2"));
    EXPECT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\machine\\a"), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(merged), ERROR_KEY_DELETED);

    merged = make("b");
    EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "W\\machine\\b"), ERROR_SUCCESS);
    EXPECT_THAT(Values(merged), ElementsAre("user=1"));

    merged = make("c"); // both parts go with one call, and get another name
    EXPECT_EQ(RegRenameKey(merged, "", "a name that is longer and needs cells of its own"), ERROR_SUCCESS);
    EXPECT_THAT(Values(merged), ElementsAre("user=1", "machine=2"));
    EXPECT_EQ(RegRenameKey(merged, "", "c"), ERROR_SUCCESS);
    EXPECT_THAT(Names(Make("user")), ElementsAre("b", "c"));
    EXPECT_THAT(Names(Make("machine")), ElementsAre("c"));
    EXPECT_EQ(RegRenameValue(merged, "machine", "m"), ERROR_SUCCESS);
    EXPECT_THAT(Values(merged), ElementsAre("user=1", "m=2"));
    const std::string file = session.File().string() + ".merged";
    EXPECT_EQ(RegSaveKeyA(merged, file.c_str(), nullptr), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(RegSaveKeyA(HKEY_USERS, file.c_str(), nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegSaveKeyA(Make("machine"), file.c_str(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegRestoreKeyA(merged, file.c_str(), 0), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(RegFlushKey(merged), ERROR_SUCCESS);
    EXPECT_FALSE(session.registry.IsChanged());
    Make("machine\\c\\below");
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, "c"), ERROR_ACCESS_DENIED); // and the user's part stays
    EXPECT_THAT(Values(merged), ElementsAre("user=1", "m=2"));
    EXPECT_EQ(RegDeleteTreeA(HKEY_CLASSES_ROOT, "c"), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(merged), ERROR_KEY_DELETED);
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), ElementsAre("b"));
    merged = make("d");
    EXPECT_EQ(RegDeleteKeyA(merged, ""), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(merged), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, "d"), ERROR_FILE_NOT_FOUND);
}

TEST_F(NameSpaceTest, AViewIsNamedByItsTreesAndReplacedByAnother)
{
    Make("one\\a");
    Make("two\\b");
    Make("three\\c");
    struct Case {
        const char* path;
        const char* first;
        const char* second;
        ErrorCode code;
    };
    for (const Case& c : {Case{"HKEY_CLASSES_ROOT", "nowhere", "HKEY_USERS", ErrorCode::kInvalidParameter},
                          Case{"HKEY_CLASSES_ROOT", "HKEY_USERS", "nowhere", ErrorCode::kInvalidParameter},
                          Case{"nowhere", "HKEY_USERS", "HKEY_USERS", ErrorCode::kInvalidParameter},
                          Case{"HKEY_USERS\\W", "HKEY_USERS", "HKEY_USERS", ErrorCode::kAlreadyExists}}) {
        EXPECT_EQ(session.registry.View(c.path, c.first, c.second).error().code, c.code) << c.path;
    }
    EXPECT_EQ(session.registry.Link("HKEY_CLASSES_ROOT", "").error().code, ErrorCode::kInvalidParameter);
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\one", "HKEY_USERS\\W\\two"));
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), ElementsAre("a", "b"));
    EXPECT_THAT(session.registry.AliasesOf("HKEY_USERS\\W\\two\\b"), ElementsAre("HKEY_CLASSES_ROOT\\b"));
    EXPECT_THAT(session.registry.AliasesOf("HKEY_CLASSES_ROOT\\b"),
                UnorderedElementsAre("HKEY_USERS\\W\\one\\b", "HKEY_USERS\\W\\two\\b"));
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\one", "HKEY_USERS\\W\\three"));
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), ElementsAre("a", "c"));
    EXPECT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\one"), ERROR_SUCCESS);
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), ElementsAre("c")); // with one tree it is that tree
    EXPECT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\three"), ERROR_SUCCESS);
    EXPECT_THAT(Names(HKEY_CLASSES_ROOT), IsEmpty());
    EXPECT_THAT(session.registry.AliasesOf("HKEY_USERS\\W\\two\\b"), IsEmpty());
}

TEST_F(NameSpaceTest, NamesEveryOtherPathOfAKey)
{
    ASSERT_TRUE(session.registry.Link("HKEY_CURRENT_USER", "HKEY_USERS\\W"));
    ASSERT_TRUE(session.registry.Link("HKEY_LOCAL_MACHINE\\x\\Current", "HKEY_CURRENT_USER\\sets\\1"));
    struct Case {
        const char* path;
        std::vector<std::string> aliases;
    };
    for (const Case& c : {
             Case{"HKEY_USERS\\W\\a", {"HKEY_CURRENT_USER\\a"}},
             Case{"HKEY_CURRENT_USER\\a", {"HKEY_USERS\\W\\a"}},
             Case{"hkey_users\\w\\sets\\1\\k", {"HKEY_CURRENT_USER\\sets\\1\\k", "HKEY_LOCAL_MACHINE\\x\\Current\\k"}},
             Case{"HKEY_USERS\\Wx", {}},
             Case{"HKEY_LOCAL_MACHINE\\x", {}},
         }) {
        SCOPED_TRACE(c.path);
        EXPECT_THAT(session.registry.AliasesOf(c.path), testing::UnorderedElementsAreArray(c.aliases));
    }
}

} // namespace
} // namespace tolvar
