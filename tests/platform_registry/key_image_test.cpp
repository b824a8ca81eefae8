#include "platform/registry/key_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/writable_session.h"
#include "platform/registry/open_value.h"
#include "platform/registry/stored_value.h"

namespace tolvar {
namespace {

using testing::ElementsAre;

/// A writable hive at HKEY_USERS\W with a key "k".
class KeyImages : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\k", 0, "class", 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    }

    static void Set(HKEY key, const std::string& name, BYTE data)
    {
        ASSERT_EQ(SetStoredValue(key, name.c_str(), REG_BINARY, {&data, 1}), ERROR_SUCCESS);
    }
    /// The values of a key in stored order, "name=byte".
    static std::vector<std::string> Values(HKEY key)
    {
        std::vector<std::string> values;
        char name[64];
        BYTE data = 0;
        DWORD length = sizeof name;
        DWORD size = 1;
        for (DWORD i = 0; RegEnumValueA(key, i, name, &length, nullptr, nullptr, &data, &size) == ERROR_SUCCESS; ++i) {
            values.push_back(std::string(name) + "=" + std::to_string(data));
            length = sizeof name;
            size = 1;
        }
        return values;
    }
    static KeyImage ImageFrom(const std::vector<std::byte>& bytes)
    {
        return KeyImage::FromBytes(bytes, "image").value();
    }
    static LSTATUS Open(HKEY parent, const char* name)
    {
        HKEY opened = nullptr;
        return RegOpenKeyExA(parent, name, 0, KEY_READ, &opened);
    }
    OpenValue Find(const std::string& name) const
    {
        LSTATUS code = ERROR_SUCCESS;
        OpenValue value = OpenValue::Find(key, name, code);
        EXPECT_EQ(code, ERROR_SUCCESS);
        return value;
    }

    fixtures::WritableSession session;
    HKEY key = nullptr;
};

TEST_F(KeyImages, OfValuesBringThemBackToTheirPlaces)
{
    for (BYTE i = 0; i < 12; ++i) {
        Set(key, std::string(1, static_cast<char>('a' + i)), i);
    }
    const std::vector<std::string> all = Values(key);
    const std::vector<std::string> names = {"l", "b", "B", "none", "k"}; // places of one and of two digits
    const std::vector<std::byte> bytes = ImageOfValues(key, names).value();
    const KeyImage image = ImageFrom(bytes);
    EXPECT_TRUE(image.HasValues());
    EXPECT_TRUE(image.FindValue("B"));
    EXPECT_FALSE(image.FindValue("c"));
    EXPECT_FALSE(image.FindValue("\xFF"));
    for (const char* name : {"b", "k", "l"}) {
        ASSERT_EQ(RegDeleteValueA(key, name), ERROR_SUCCESS);
    }
    ASSERT_TRUE(LayValueImage(key, image));
    EXPECT_EQ(Values(key), all);
    Set(key, "k", 99);
    ASSERT_TRUE(LayValueImage(key, image));
    EXPECT_EQ(Values(key), all);
    const std::vector<std::byte> none = ImageOfValues(key, std::vector<std::string>{"none"}).value();
    EXPECT_FALSE(ImageFrom(none).HasValues());
    EXPECT_EQ(ImageOfValues(key, std::vector<std::string>{"\xFF"}).error().code, ErrorCode::kNoUnicodeTranslation);
}

TEST_F(KeyImages, PutTheirKeyInThePlaceOfWhatHasBecomeOfIt)
{
    HKEY below = nullptr;
    ASSERT_EQ(RegCreateKeyExA(key, "a\\b", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), 0);
    Set(below, "v", 7);
    const std::vector<std::byte> bytes = ImageOfKey(key).value();
    HKEY other = nullptr;
    ASSERT_EQ(RegCreateKeyExA(key, "more", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &other, nullptr), 0);
    Set(key, "w", 1);
    Set(below, "v", 8);
    ASSERT_TRUE(ReplaceByKeyImage(key, ImageFrom(bytes)));
    EXPECT_THAT(Values(key), ElementsAre());
    EXPECT_EQ(RegDeleteValueA(other, "w"), ERROR_KEY_DELETED);
    ASSERT_EQ(RegOpenKeyExA(key, "a\\b", 0, KEY_READ, &below), ERROR_SUCCESS);
    EXPECT_THAT(Values(below), ElementsAre("v=7"));
    EXPECT_EQ(ReplaceByKeyImage(HKEY_USERS, ImageFrom(bytes)).error().code, ErrorCode::kAccessDenied);
}

TEST_F(KeyImages, OfAKeyBringItBackWithAllBelowIt)
{
    HKEY below = nullptr;
    ASSERT_EQ(RegCreateKeyExA(key, "a\\b", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), 0);
    Set(below, "v", 7);
    const std::vector<std::byte> bytes = ImageOfKey(key).value();
    const KeyImage image = ImageFrom(bytes);
    EXPECT_EQ(image.KeyName(), "k");
    EXPECT_FALSE(image.HasValues());
    ASSERT_EQ(RegDeleteTreeA(HKEY_USERS, "W\\k"), ERROR_SUCCESS);
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\K", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    EXPECT_EQ(StoredKeyName(key).value(), "K");
    ASSERT_TRUE(LayKeyImage(key, image));
    ASSERT_EQ(RegOpenKeyExA(key, "a\\b", 0, KEY_READ, &below), ERROR_SUCCESS);
    EXPECT_THAT(Values(below), ElementsAre("v=7"));
    EXPECT_EQ(KeyImage::FromBytes(std::span(bytes).first(bytes.size() - 4096), "cut").error().code,
              ErrorCode::kRegistryCorrupt);
    EXPECT_FALSE(KeyImage::FromBytes({}, "empty"));
}

TEST_F(KeyImages, AreOfOneStoredKey)
{
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\k", "HKEY_USERS\\W"));
    HKEY merged = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "", 0, KEY_READ, &merged), ERROR_SUCCESS);
    for (const auto& [handle, code] : {std::pair{HKEY_CLASSES_ROOT, ErrorCode::kNotSupported},
                                       {HKEY_USERS, ErrorCode::kAccessDenied},
                                       {HKEY{nullptr}, ErrorCode::kInvalidHandle}}) {
        EXPECT_EQ(ImageOfKey(handle).error().code, code);
        EXPECT_EQ(ImageOfValues(handle, {}).error().code, code);
        LSTATUS found = ERROR_SUCCESS;
        EXPECT_EQ(OpenValue::Find(handle, "v", found).Image().error().code, code);
    }
}

TEST_F(KeyImages, AnOpenValueFollowsWhatChangesBeneathIt)
{
    OpenValue value = Find("v");
    EXPECT_FALSE(value.IsThere());
    EXPECT_EQ(value.Visit([](const ValueCursor&) { FAIL(); }), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(ImageFrom(value.Image().value()).HasValues());
    Set(key, "other", 1);
    Set(key, "V", 2);
    BYTE seen = 0;
    const auto look = [&seen](const ValueCursor& cursor) {
        seen = std::to_integer<BYTE>(cursor.StoredData().value().at(0));
    };
    EXPECT_EQ(value.Visit(look), ERROR_SUCCESS);
    EXPECT_EQ(seen, 2U);
    EXPECT_TRUE(ImageFrom(value.Image().value()).FindValue("v"));

    const std::vector<BYTE> large(20'000, BYTE{3}); // needs other cells
    EXPECT_EQ(value.Store(REG_BINARY, large), ERROR_SUCCESS);
    EXPECT_EQ(value.Visit(look), ERROR_SUCCESS);
    EXPECT_EQ(seen, 3U);
    ASSERT_EQ(RegDeleteValueA(key, "v"), ERROR_SUCCESS);
    EXPECT_EQ(value.Store(REG_BINARY, std::vector<BYTE>{4}), ERROR_SUCCESS);
    EXPECT_THAT(Values(key), ElementsAre("other=1", "v=4"));
    ASSERT_EQ(RegDeleteKeyA(key, ""), ERROR_SUCCESS);
    EXPECT_EQ(value.Store(REG_BINARY, std::vector<BYTE>{5}), ERROR_KEY_DELETED);
    EXPECT_EQ(value.Visit(look), ERROR_KEY_DELETED);
    EXPECT_FALSE(value.Image());
    LSTATUS code = ERROR_SUCCESS;
    static_cast<void>(OpenValue::Find(HKEY_USERS, "\xFF", code));
    EXPECT_EQ(code, ERROR_NO_UNICODE_TRANSLATION);
}

TEST_F(KeyImages, AnOpenValueOfTwoPartsIsStoredInTheFirst)
{
    HKEY user = nullptr;
    HKEY machine = nullptr;
    HKEY merged = nullptr;
    for (const auto& [path, made] : {std::pair{"W\\user\\x", &user}, {"W\\machine\\x", &machine}}) {
        ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, made, nullptr), 0);
    }
    Set(machine, "m", 1);
    Set(user, "u", 2);
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\user", "HKEY_USERS\\W\\machine"));
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "x", 0, KEY_ALL_ACCESS, &merged), ERROR_SUCCESS);
    for (const char* name : {"m", "u"}) {
        LSTATUS code = ERROR_SUCCESS;
        OpenValue value = OpenValue::Find(merged, name, code);
        EXPECT_TRUE(value.IsThere());
        EXPECT_EQ(value.Store(REG_BINARY, std::vector<BYTE>{9}), ERROR_SUCCESS);
    }
    EXPECT_THAT(Values(user), ElementsAre("u=9", "m=9"));
    EXPECT_THAT(Values(machine), ElementsAre("m=1"));
    EXPECT_THAT(Values(merged), ElementsAre("u=9", "m=9"));
}

} // namespace
} // namespace tolvar
