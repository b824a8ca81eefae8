#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/writable_session.h"
#include "registry/path_completion.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class KeyPathTyping : public testing::Test {
protected:
    KeyPathTyping()
    {
        for (const char* path : {"Software\\Tolvar", "Software\\Tolvar Studio", "Software\\\xC3\x84rger", "a/b"}) {
            Make(path);
        }
    }

    static void Make(const std::string& path)
    {
        RegKey key;
        EXPECT_EQ(CreateKeyPath("HKEY_USERS\\W\\" + path, *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
    }

    fixtures::WritableSession session;
};

TEST_F(KeyPathTyping, BecomesAPathAsTheRegistryWritesIt)
{
    struct Case {
        const char* typed;
        const char* path;
    };
    for (const Case& c : {
             Case{"hku\\w\\SOFTWARE\\tolvar", "HKEY_USERS\\W\\Software\\Tolvar"},
             Case{"hkey_users\\W\\software\\tolvar studio\\", "HKEY_USERS\\W\\Software\\Tolvar Studio"},
             Case{"  \"Computer\\HKU\\w\"\n", "HKEY_USERS\\W"},
             Case{"HKU\\w\\software\\\xC3\xA4RGER", "HKEY_USERS\\W\\Software\\\xC3\x84rger"},
             Case{"HKU\\w\\A/B", "HKEY_USERS\\W\\a/b"},
             Case{"HKLM", "HKEY_LOCAL_MACHINE"},
             Case{"HKU\\w\\none\\Software", "HKEY_USERS\\W\\none\\Software"}, // from where it is lost on, as typed
             Case{"./Name", "./Name"},
             Case{"HKEY_USERS.OLD\\w", "HKEY_USERS.OLD\\w"},
             Case{"", ""},
             Case{" \\ ", ""},
         }) {
        EXPECT_EQ(ResolveKeyPath(c.typed), c.path) << c.typed;
    }
}

TEST_F(KeyPathTyping, IsOfferedWhatItMayGoOnWith)
{
    EXPECT_THAT(CompleteKeyPath("hk", 9), SizeIs(5));
    EXPECT_THAT(CompleteKeyPath("HKCU", 9), ElementsAre("HKEY_CURRENT_USER"));
    EXPECT_THAT(CompleteKeyPath("hku\\w\\software\\tol", 9),
                ElementsAre("HKEY_USERS\\W\\Software\\Tolvar", "HKEY_USERS\\W\\Software\\Tolvar Studio"));
    EXPECT_THAT(CompleteKeyPath("hku\\w\\software\\", 9), SizeIs(3));
    EXPECT_THAT(CompleteKeyPath("hku\\w\\software\\tol", 1), SizeIs(1));
    EXPECT_THAT(CompleteKeyPath("hku\\w\\none\\x", 9), IsEmpty());
    EXPECT_THAT(CompleteKeyPath("nonsense", 9), IsEmpty());
}

TEST_F(KeyPathTyping, FindsEveryNameOfALongListAndWhatIsMountedBehindIt)
{
    constexpr int kMany = 3000;
    for (int number = 0; number < kMany; ++number) {
        Make("Many\\Key " + std::to_string(number));
    }
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\Many\\a link", "HKEY_USERS\\W\\Software"));
    for (int number = 0; number < kMany; number += 7) {
        const std::string name = std::to_string(number);
        ASSERT_EQ(ResolveKeyPath("hku\\w\\MANY\\KEY " + name), "HKEY_USERS\\W\\Many\\Key " + name);
    }
    EXPECT_THAT(CompleteKeyPath("hku\\w\\many\\key 299", 20), SizeIs(11)); // itself and 2990 to 2999
    EXPECT_EQ(ResolveKeyPath("hku\\w\\many\\A LINK\\tolvar"), "HKEY_USERS\\W\\Many\\a link\\Tolvar");
    EXPECT_EQ(ResolveKeyPath("hku\\w\\many\\key"), "HKEY_USERS\\W\\Many\\key");
}

} // namespace
} // namespace tolvar
