#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/writable_session.h"
#include "platform/registry/winreg.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down what it is told: a line a telling, with "PATH:changes" for each key and "=ALIAS" for each alias.
class Notes final : public RegistryObserver {
public:
    std::vector<std::string> told;
    void OnChanged(std::span<const ChangedKey> keys) override
    {
        std::string line;
        for (const ChangedKey& key : keys) {
            line += line.empty() ? "" : " ";
            line += key.path + ":" + std::to_string(key.changes);
            for (const std::string& alias : key.aliases) {
                line += "=" + alias;
            }
        }
        told.push_back(line);
    }
};

class WinregWrite : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(session.mounted); }

    static HKEY Create(const char* path, DWORD* disposition = nullptr)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(HKEY_USERS, path, 0, "class", 0, KEY_ALL_ACCESS, nullptr, &key, disposition),
                  ERROR_SUCCESS);
        return key;
    }

    /// The bytes as the hive stores them.
    std::string Stored(const char* name)
    {
        EXPECT_TRUE(session.registry.Flush());
        const Hive hive = Hive::Open(session.File()).value();
        const KeyNode root = *hive.Key(hive.Root());
        const KeyNode key = *hive.Key(*hive.FindSubkey(root, u"k"));
        const std::string text = name;
        const auto value = hive.FindValue(key, std::u16string(text.begin(), text.end()));
        const auto data = hive.ReadData(**value).value();
        return {reinterpret_cast<const char*>(data.data()), data.size()};
    }

    fixtures::WritableSession session;
};

LSTATUS Set(HKEY key, const char* name, DWORD type, std::string_view data)
{
    return RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                          static_cast<DWORD>(data.size()));
}

TEST_F(WinregWrite, MakesKeysWithAllThatIsMissingOnTheWay)
{
    DWORD disposition = 0;
    Create("W\\a\\b\\c", &disposition);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    Create("w\\A\\B", &disposition);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    char name[16];
    DWORD size = sizeof name;
    EXPECT_EQ(RegQueryInfoKeyA(Create("W\\a\\b\\c"), name, &size, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(name, "class");
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(HKEY_USERS, "elsewhere", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_ACCESS_DENIED);
}

TEST_F(WinregWrite, TellsWhatTheOutermostCallChanged)
{
    Notes notes;
    session.registry.SetObserver(&notes);
    const HKEY key = Create("W\\a\\b\\c");
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W:2")); // the topmost key with something new below it
    notes.told.clear();
    Create("W\\a");
    EXPECT_EQ(RegDeleteValueA(key, "none"), ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(notes.told, IsEmpty());
    {
        const ChangeScope outer;
        for (const char* name : {"v", "w"}) {
            const ChangeScope inner(session.registry);
            EXPECT_EQ(Set(key, name, REG_BINARY, "x"), ERROR_SUCCESS);
        }
        EXPECT_EQ(RegRenameKey(HKEY_USERS, "W\\a\\b\\c", "d"), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\a"), ERROR_SUCCESS);
        EXPECT_THAT(notes.told, IsEmpty());
    }
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W:2 HKEY_USERS\\W\\a\\b:2 HKEY_USERS\\W\\a\\b\\c:1"));
}

TEST_F(WinregWrite, TellsKeysInTheOrderOfAWalkAndACrowdAsOne)
{
    Notes notes;
    for (const char* path : {"W\\a\\x", "W\\a!", "W\\crowd"}) {
        Create(path);
    }
    const HKEY crowd = Create("W\\crowd");
    std::vector<HKEY> many;
    for (int i = 0; i < 1001; ++i) {
        many.push_back(Create(("W\\crowd\\" + std::to_string(i)).c_str()));
    }
    const auto touch = [](HKEY key) { EXPECT_EQ(Set(key, "v", REG_BINARY, "x"), ERROR_SUCCESS); };
    session.registry.SetObserver(&notes);
    {
        const ChangeScope scope;
        touch(Create("W\\a!"));
        touch(Create("W\\a\\x"));
        touch(Create("W\\a"));
        EXPECT_EQ(RegRenameValue(Create("W\\a"), "v", "w"), ERROR_SUCCESS);
    }
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W\\a:1 HKEY_USERS\\W\\a\\x:1 HKEY_USERS\\W\\a!:1"));
    const std::string saved = session.File().string() + ".crowd";
    EXPECT_EQ(RegSaveKeyA(Create("W\\a"), saved.c_str(), nullptr), ERROR_SUCCESS);
    notes.told.clear();
    {
        const ChangeScope scope;
        touch(Create("W\\a\\x"));
        EXPECT_EQ(RegRestoreKeyA(Create("W\\a"), saved.c_str(), 0), ERROR_SUCCESS);
    }
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W\\a:4")); // all below it, and so not told again
    for (const std::size_t count : {std::size_t{1000}, std::size_t{1001}}) {
        notes.told.clear();
        {
            const ChangeScope scope;
            std::for_each_n(many.begin(), count, touch);
        }
        ASSERT_EQ(notes.told.size(), 1U);
        EXPECT_EQ(std::ranges::count(notes.told[0], ':'), count == 1000 ? 1000 : 1);
    }
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W\\crowd:5"));
    EXPECT_EQ(RegCloseKey(crowd), ERROR_SUCCESS);
    session.registry.SetObserver(nullptr);
}

TEST_F(WinregWrite, RefusesArgumentsThatCanNotBe)
{
    const HKEY key = Create("W\\k");
    HKEY made = nullptr;
    DWORD size = 0;
    BYTE byte = 0;
    char name[8];
    const auto create = [&](const char* path, DWORD reserved, DWORD options, HKEY* result) {
        return RegCreateKeyExA(key, path, reserved, nullptr, options, KEY_READ, nullptr, result, nullptr);
    };
    const LSTATUS refused[] = {
        create(nullptr, 0, 0, &made),
        create("x", 1, 0, &made),
        create("x", 0, 4, &made),
        create("x", 0, 0, nullptr),
        RegSetValueExA(key, "v", 1, REG_BINARY, &byte, 1),
        RegSetValueExA(key, "v", 0, REG_BINARY, nullptr, 1),
        RegDeleteKeyA(key, nullptr),
        RegDeleteTreeA(key, nullptr),
        RegRenameKey(key, nullptr, "x"),
        RegSaveKeyA(key, nullptr, nullptr),
        RegRestoreKeyA(key, nullptr, 0),
        RegRestoreKeyA(key, "x", 1),
        RegEnumKeyExA(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr),
        RegEnumKeyExA(key, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
        RegEnumKeyExA(key, 0, name, &size, nullptr, name, nullptr, nullptr),
        RegEnumValueA(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr),
        RegEnumValueA(key, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
        RegEnumValueA(key, 0, name, &size, nullptr, nullptr, &byte, nullptr),
        RegQueryInfoKeyA(key, name, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr),
        RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, &byte, nullptr),
    };
    EXPECT_THAT(refused, testing::Each(ERROR_INVALID_PARAMETER));
    const char* const noText = "\xFF";
    const LSTATUS untranslated[] = {
        create(noText, 0, 0, &made),
        RegCreateKeyExA(key, "x", 0, noText, 0, KEY_READ, nullptr, &made, nullptr),
        Set(key, noText, REG_BINARY, "x"),
        RegDeleteValueA(key, noText),
        RegRenameValue(key, noText, "x"),
        RegRenameValue(key, "x", noText),
        RegDeleteKeyA(key, noText),
        RegRenameKey(key, "", noText),
        RegQueryValueExA(key, noText, nullptr, nullptr, nullptr, nullptr),
    };
    EXPECT_THAT(untranslated, testing::Each(ERROR_NO_UNICODE_TRANSLATION));
    EXPECT_EQ(RegRestoreKeyA(key, session.File().c_str(), 4), ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExA(key, nullptr, 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
    EXPECT_EQ(RegRenameKey(key, "", "K2"), ERROR_SUCCESS);
    EXPECT_EQ(RegRenameKey(HKEY_USERS, "W", "x"), ERROR_ACCESS_DENIED);
    Create("W\\taken");
    EXPECT_EQ(RegRenameKey(key, "", "TAKEN"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(RegRenameValue(key, "", "other"), ERROR_SUCCESS);
    EXPECT_EQ(Set(key, "v", REG_BINARY, "x"), ERROR_SUCCESS);
    EXPECT_EQ(RegRenameValue(key, "v", "OTHER"), ERROR_ALREADY_EXISTS);
}

TEST_F(WinregWrite, TellsUnderWhichNamesAKeyIsSeen)
{
    ASSERT_TRUE(session.registry.Link("HKEY_CURRENT_USER", "HKEY_USERS\\W"));
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\Set", "HKEY_USERS\\W\\Set001"));
    ASSERT_TRUE(session.registry.Link("HKEY_CURRENT_CONFIG", "HKEY_USERS\\W\\Set\\Hardware"));
    const auto aliases = [this](const char* path) {
        std::vector<std::string> found = session.registry.AliasesOf(path);
        std::ranges::sort(found);
        return found;
    };
    EXPECT_THAT(aliases("HKEY_USERS\\W\\a"), ElementsAre("HKEY_CURRENT_USER\\a"));
    EXPECT_THAT(aliases("hkey_current_user\\a"), ElementsAre("HKEY_USERS\\W\\a"));
    EXPECT_THAT(aliases("HKEY_USERS\\Wide"), IsEmpty());
    EXPECT_THAT(aliases("HKEY_CURRENT_CONFIG\\x"),
                ElementsAre("HKEY_CURRENT_USER\\Set001\\Hardware\\x", "HKEY_CURRENT_USER\\Set\\Hardware\\x",
                            "HKEY_USERS\\W\\Set001\\Hardware\\x", "HKEY_USERS\\W\\Set\\Hardware\\x"));
    Notes notes;
    session.registry.SetObserver(&notes);
    Create("W\\a");
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W:2=HKEY_CURRENT_USER"));
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\o", "HKEY_USERS\\o\\p"));
    EXPECT_LT(aliases("HKEY_USERS\\o").size(), 1001U); // and comes to an end
}

TEST_F(WinregWrite, StoresTextsAsUnitsWithTheTerminatorsThatTheyLack)
{
    const HKEY key = Create("W\\k");
    struct Case {
        DWORD type;
        std::string_view data;
        std::string_view stored;
    };
    using namespace std::string_view_literals;
    for (const Case& c : {
             Case{REG_SZ, "ab"sv, "a\0b\0\0\0"sv},
             Case{REG_SZ, "ab\0"sv, "a\0b\0\0\0"sv},
             Case{REG_SZ, ""sv, ""sv},
             Case{REG_EXPAND_SZ, "\xC3\xA9"sv, "\xE9\0\0\0"sv},
             Case{REG_MULTI_SZ, "a\0b"sv, "a\0\0\0b\0\0\0\0\0"sv},
             Case{REG_MULTI_SZ, "a\0b\0\0"sv, "a\0\0\0b\0\0\0\0\0"sv},
             Case{REG_MULTI_SZ, "\0"sv, "\0\0"sv},
             Case{REG_LINK, "ab"sv, "ab"sv},
             Case{REG_BINARY, "\xFF"sv, "\xFF"sv},
         }) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " " << testing::PrintToString(c.data));
        EXPECT_EQ(Set(key, "v", c.type, c.data), ERROR_SUCCESS);
        EXPECT_EQ(Stored("v"), c.stored);
    }
    EXPECT_EQ(Set(key, "v", REG_SZ, "\xFF"), ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_EQ(RegSetValueExA(key, "v", 0, REG_BINARY, nullptr, 1), ERROR_INVALID_PARAMETER);
}

TEST_F(WinregWrite, KeepsHandlesGoodOrTellsThatTheirKeyIsGone)
{
    const HKEY key = Create("W\\k");
    const HKEY below = Create("W\\k\\below");
    EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "W\\k"), ERROR_ACCESS_DENIED); // it has a subkey
    EXPECT_EQ(RegRenameKey(HKEY_USERS, "W\\k", "a much longer name, which needs another cell"), ERROR_SUCCESS);
    EXPECT_EQ(Set(key, "v", REG_DWORD, std::string_view("\1\0\0\0", 4)), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(below, ""), ERROR_SUCCESS);
    EXPECT_EQ(Set(below, "v", REG_BINARY, "x"), ERROR_KEY_DELETED);
    HKEY again = nullptr;
    EXPECT_EQ(RegOpenKeyExA(below, "", 0, KEY_READ, &again), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(below), ERROR_SUCCESS);
    EXPECT_EQ(RegRenameValue(key, "v", "w"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueA(key, "v"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueA(key, "W"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "W"), ERROR_ACCESS_DENIED); // where a hive is mounted
    EXPECT_EQ(RegFlushKey(key), ERROR_SUCCESS);
    EXPECT_EQ(fixtures::Findings(Hive::Open(session.File()).value()), "");
}

TEST_F(WinregWrite, RevertsToTheLastFlushAndHandlesWithIt)
{
    HKEY const stays = Create("W\\stays");
    HKEY const moves = Create("W\\moves\\below");
    HKEY const goes = Create("W\\goes");
    ASSERT_EQ(Set(stays, "v", REG_SZ, "old"), ERROR_SUCCESS);
    ASSERT_TRUE(session.registry.Flush());
    const auto written = [](const char* path) {
        HKEY key = nullptr;
        FILETIME time = {};
        EXPECT_EQ(RegOpenKeyExA(HKEY_USERS, path, 0, KEY_READ, &key), ERROR_SUCCESS);
        EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, &time),
                  ERROR_SUCCESS);
        RegCloseKey(key);
        return std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime;
    };
    const std::uint64_t times[] = {written("W"), written("W\\stays")};
    HKEY const opened = Create("W\\goes"); // after the flush, and before anything changes
    Notes notes;
    session.registry.SetObserver(&notes);
    HKEY const made = Create("W\\made");
    ASSERT_EQ(Set(stays, "v", REG_SZ, "new"), ERROR_SUCCESS);
    ASSERT_EQ(RegRenameKey(HKEY_USERS, "W\\moves", "a longer name than it had"), ERROR_SUCCESS);
    ASSERT_EQ(RegRenameKey(HKEY_USERS, "W\\a longer name than it had\\below", "another long name"), ERROR_SUCCESS);
    HKEY const renamed = Create("W\\a longer name than it had\\another long name");
    ASSERT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\goes"), ERROR_SUCCESS);
    HKEY const again = Create("W\\goes");
    notes.told.clear();
    ASSERT_TRUE(session.registry.IsChanged());
    EXPECT_GT(written("W"), times[0]);
    EXPECT_GT(written("W\\stays"), times[1]);
    ASSERT_TRUE(session.registry.Revert());
    EXPECT_EQ(written("W"), times[0]);
    EXPECT_EQ(written("W\\stays"), times[1]);
    session.registry.SetObserver(nullptr);
    EXPECT_FALSE(session.registry.IsChanged());
    EXPECT_THAT(notes.told, ElementsAre("HKEY_USERS\\W:4"));
    const auto name = [](HKEY key) { return RegSetValueExA(key, "name", 0, REG_NONE, nullptr, 0); };
    for (HKEY const key : {stays, moves, goes, opened, again}) {
        EXPECT_EQ(name(key), ERROR_SUCCESS);
    }
    EXPECT_EQ(name(made), ERROR_KEY_DELETED);
    EXPECT_EQ(name(renamed), ERROR_KEY_DELETED);
    EXPECT_EQ(RegQueryValueExA(Create("W\\moves\\below"), "name", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExA(Create("W\\goes"), "name", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    char text[8];
    DWORD size = sizeof text;
    EXPECT_EQ(RegQueryValueExA(stays, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size), ERROR_SUCCESS);
    EXPECT_STREQ(text, "old");
}

TEST_F(WinregWrite, MakesNoKeyBelowLevel512OfTheRegistry)
{
    HKEY key = Create("W");
    for (unsigned level = 3; level < 512; ++level) { // 1 is the registry itself, 2 HKEY_USERS
        HKEY below = nullptr;
        ASSERT_EQ(RegCreateKeyExA(key, "d", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), ERROR_SUCCESS)
            << level;
        RegCloseKey(key);
        key = below;
    }
    HKEY below = nullptr;
    EXPECT_EQ(RegCreateKeyExA(key, "d", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegSetValueExA(key, "v", 0, REG_SZ, reinterpret_cast<const BYTE*>("x"), 2), ERROR_SUCCESS);
    // No hive with a key below its root goes in there, and one without does.
    const fixtures::ScratchFolder folder;
    EXPECT_EQ(RegSaveKeyA(Create("W\\d"), (folder / "deep").c_str(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegSaveKeyA(key, (folder / "flat").c_str(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegRestoreKeyA(key, (folder / "deep").c_str(), 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegRestoreKeyA(key, (folder / "flat").c_str(), 0), ERROR_SUCCESS);
}

TEST_F(WinregWrite, EnumeratesToAnEndWhileKeysComeAndGo)
{
    for (int i = 0; i < 40; ++i) {
        Create(("W\\k" + std::to_string(i)).c_str());
    }
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_USERS, "W", 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
    int seen = 0;
    char name[64];
    for (DWORD index = 0; RegEnumKeyA(key, index, name, sizeof name) == ERROR_SUCCESS; ++index) {
        ++seen;
        ASSERT_LT(seen, 200);
        if (index % 3 == 0) {
            EXPECT_EQ(RegDeleteKeyA(key, name), ERROR_SUCCESS);
        } else if (index % 3 == 1) {
            Create(("W\\a" + std::to_string(index)).c_str());
        }
    }
    EXPECT_GT(seen, 20);
}

TEST_F(WinregWrite, MakesLinks)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\link", 0, nullptr, REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(Set(key, "SymbolicLinkValue", REG_LINK, std::string_view("\\\0R\0", 4)), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(key), ERROR_SUCCESS);
    const Hive hive = Hive::Open(session.File()).value();
    const KeyNode link = *hive.Key(*hive.FindSubkey(*hive.Key(hive.Root()), u"link"));
    EXPECT_TRUE(link.Is(key_flags::kSymbolicLink));
    EXPECT_EQ(hive.FindValue(link, u"SymbolicLinkValue").value()->size, 4U);
    EXPECT_EQ(fixtures::Findings(hive), "");
}

TEST_F(WinregWrite, RestoresWhatItSavedAndEndsTheHandlesBelow)
{
    const HKEY key = Create("W\\k");
    const HKEY below = Create("W\\k\\Below");
    EXPECT_EQ(Set(below, "v", REG_SZ, "text"), ERROR_SUCCESS);
    const std::string saved = session.File().string() + ".saved";
    EXPECT_EQ(RegSaveKeyA(key, saved.c_str(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegSaveKeyA(key, saved.c_str(), nullptr), ERROR_ALREADY_EXISTS);
    Create("W\\k\\Later");
    EXPECT_EQ(RegRestoreKeyA(key, (saved + "x").c_str(), 0), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegRestoreKeyA(key, saved.c_str(), 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegRestoreKeyA(key, saved.c_str(), 4), ERROR_SUCCESS);
    EXPECT_EQ(Set(below, "v", REG_SZ, "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(Set(key, "v", REG_SZ, "x"), ERROR_SUCCESS);
    HKEY opened = nullptr;
    EXPECT_EQ(RegOpenKeyExA(key, "Later", 0, KEY_READ, &opened), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegOpenKeyExA(key, "below", 0, KEY_READ, &opened), ERROR_SUCCESS);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(opened, "v", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(RegFlushKey(key), ERROR_SUCCESS);
    EXPECT_EQ(fixtures::Findings(Hive::Open(session.File()).value()), "");
}

TEST_F(WinregWrite, WritesNothingIntoAHiveThatIsReadOnly)
{
    const HKEY key = Create("W\\k");
    EXPECT_EQ(RegFlushKey(key), ERROR_SUCCESS);
    Registry other;
    const Session reading(other);
    ASSERT_TRUE(other.Mount({session.File(), "HKEY_USERS\\R"}));
    HKEY opened = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_USERS, "R\\k", 0, KEY_ALL_ACCESS, &opened), ERROR_SUCCESS);
    EXPECT_EQ(Set(opened, "v", REG_BINARY, "x"), ERROR_WRITE_PROTECT);
    EXPECT_EQ(RegDeleteKeyA(opened, ""), ERROR_WRITE_PROTECT);
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExA(opened, "new", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr), ERROR_WRITE_PROTECT);
}

} // namespace
} // namespace tolvar
