#include <functional>

#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/journal_session.h"
#include "fixtures/writable_session.h"
#include "journal/change_places.h"
#include "journal/touched_places.h"
#include "platform/hive/hive_composer.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

/// The hive of the fixture, changed by a writer, as an image.
struct ImageOfOdd {
    explicit ImageOfOdd(const std::function<void(HiveWriter&, const Hive&, CellOffset)>& change = nullptr)
    {
        const auto scratch = ScratchHive::Make(fixtures::OddHive(), std::size_t{1} << 22, "odd", SystemClock()).value();
        const CellOffset odd = *scratch->hive.FindSubkey(*scratch->hive.Key(scratch->hive.Root()), u"Odd");
        if (change) {
            change(scratch->writer, scratch->hive, odd);
        }
        bytes = HiveComposer(scratch->hive, {}, [](const HiveFault&) {}).Compose(odd).value();
    }

    [[nodiscard]] PlaceDigest Digest(const std::optional<std::string>& value = std::nullopt) const
    {
        return DigestOf(KeyImage::FromBytes(bytes, "image").value(), ChangePlace{"", value}).value();
    }

    std::vector<std::byte> bytes;
};

TEST(PlaceDigest, TellsWhateverDiffersButTimesAndTheOrderOfValues)
{
    using Change = std::function<void(HiveWriter&, const Hive&, CellOffset)>;
    const auto owned = [](const Hive& hive, CellOffset odd) {
        return *hive.FindSubkey(*hive.Key(odd), std::u16string(u"nul\0key", 7));
    };
    struct Case {
        const char* what;
        bool differs;
        Change change;
    };
    const std::vector<std::byte> one = {std::byte{1}};
    const Case cases[] = {
        {"nothing", false, nullptr},
        {"a time", false,
         [](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.SetLastWrite(odd, 9)); }},
        {"the order of values", false,
         [](HiveWriter& writer, const Hive&, CellOffset odd) {
             EXPECT_TRUE(writer.DeleteValue(odd, u"none"));
             EXPECT_TRUE(writer.InsertValue(odd, 0, u"none", 0, {}));
         }},
        {"a byte", true,
         [&](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.SetValue(odd, u"a:b=c", 3, one)); }},
        {"a type", true,
         [](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.SetValue(odd, u"none", 3, {})); }},
        {"a value's spelling", true,
         [](HiveWriter& writer, const Hive&, CellOffset odd) {
             EXPECT_TRUE(writer.RenameValue(odd, u"short", u"Short"));
         }},
        {"two values that change names", true,
         [](HiveWriter& writer, const Hive&, CellOffset odd) {
             EXPECT_TRUE(writer.RenameValue(odd, u"short", u"x"));
             EXPECT_TRUE(writer.RenameValue(odd, u"uneven", u"short"));
             EXPECT_TRUE(writer.RenameValue(odd, u"x", u"uneven"));
         }},
        {"a class", true,
         [](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.SetClass(odd, u"Other")); }},
        {"a key's spelling", false,
         [](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.RenameKey(odd, u"ODD")); }},
        {"a key's name", true,
         [](HiveWriter& writer, const Hive&, CellOffset odd) { EXPECT_TRUE(writer.RenameKey(odd, u"Other")); }},
        {"the rights of a key below", true,
         [&](HiveWriter& writer, const Hive& hive, CellOffset odd) {
             const auto other = *hive.SecurityDescriptor(*hive.Key(odd));
             const std::vector<std::byte> copy(other.begin(), other.end());
             EXPECT_TRUE(writer.SetSecurity(owned(hive, odd), copy));
         }},
        {"a key below that is a link", true,
         [](HiveWriter& writer, const Hive& hive, CellOffset odd) {
             EXPECT_TRUE(writer.MakeLink(*hive.FindSubkey(*hive.Key(odd), u"line\nfeed")));
         }},
        {"a key that moves to another one", true,
         [](HiveWriter& writer, const Hive& hive, CellOffset odd) {
             EXPECT_TRUE(writer.DeleteKey(*hive.FindSubkey(*hive.Key(odd), u"line\nfeed")));
             EXPECT_TRUE(writer.CreateKey(*hive.FindSubkey(*hive.Key(odd), u"[x]:=;"), u"line\nfeed"));
         }},
        {"a value that moves to the key below", true,
         [&](HiveWriter& writer, const Hive& hive, CellOffset odd) {
             EXPECT_TRUE(writer.DeleteValue(odd, u"none"));
             EXPECT_TRUE(writer.SetValue(owned(hive, odd), u"none", 0, {}));
         }},
    };
    const PlaceDigest before = ImageOfOdd().Digest();
    for (const Case& c : cases) {
        EXPECT_EQ(ImageOfOdd(c.change).Digest() != before, c.differs) << c.what;
    }
}

TEST(PlaceDigest, IsTheSameOfTheRegistryAndOfItsImage)
{
    fixtures::PowerCutStore store;
    store.Put(fixtures::kJournalHive, fixtures::OddHive());
    fixtures::JournalSession session(store);
    ASSERT_TRUE(session.Opened());
    const Registry& registry = *Registry::Current();
    const std::string path = std::string(fixtures::kJournalTop) + "\\Odd";
    const ImageOfOdd odd;
    EXPECT_EQ(DigestOf(registry, {path, std::nullopt}).value(), odd.Digest());
    RegKey key;
    ASSERT_EQ(OpenKeyPath(path, *key.Put(), KEY_READ), ERROR_SUCCESS);
    for (const std::string name : {"", "@", "semi;colon", "none", "n\xC0\x80ul"}) {
        const std::vector<std::byte> values = ImageOfValues(key.Get(), std::span(&name, 1)).value();
        const KeyImage image = KeyImage::FromBytes(values, "image").value();
        const PlaceDigest digest = DigestOf(registry, {path, name}).value();
        EXPECT_NE(digest, kAbsent) << name;
        EXPECT_EQ(digest, DigestOf(image, {path, name}).value()) << name;
        EXPECT_EQ(digest, odd.Digest(name)) << name;
    }
    EXPECT_EQ(DigestOf(registry, {path, "missing"}).value(), kAbsent);
    EXPECT_EQ(DigestOf(registry, {path + "\\missing\\below", std::nullopt}).value(), kAbsent);
    EXPECT_EQ(DigestOf(registry, {path + "\\missing", "x"}).value(), kAbsent);
    EXPECT_EQ(odd.Digest("missing"), kAbsent);
}

TEST(PlaceDigest, TakesAStoredLinkAsTheKeyThatItIs)
{
    fixtures::WritableSession session;
    ASSERT_TRUE(session.mounted);
    RegKey link;
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\link", 0, nullptr, REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS, nullptr,
                              link.Put(), nullptr),
              ERROR_SUCCESS);
    const std::u16string target = u"\\Registry\\User\\W\\target";
    ASSERT_EQ(RegSetValueExA(link.Get(), "SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(target.data()),
                             static_cast<DWORD>(2 * target.size())),
              ERROR_SUCCESS);
    const ChangePlace place{"HKEY_USERS\\W\\link", std::nullopt};
    const PlaceDigest before = DigestOf(session.registry, place).value();
    RegKey made;
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\target\\x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, made.Put(), nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(DigestOf(session.registry, place).value(), before);
    EXPECT_EQ(OwnPlace(session.registry, place), place);
    EXPECT_EQ(OwnPlace(session.registry, {"HKEY_USERS\\w\\LINK\\X\\y\\z", "v"}),
              (ChangePlace{"HKEY_USERS\\W\\target\\x\\y\\z", "v"}));
    EXPECT_EQ(OwnPlace(session.registry, {"HKEY_USERS\\w\\link", "v"}), (ChangePlace{"HKEY_USERS\\W\\target", "v"}));
}

TEST(ChangePlaces, AreThoseThatAChangeOverwritesMakesOrRemoves)
{
    const ChangePlace key{"HKEY_USERS\\k", std::nullopt};
    const auto value = [](const char* name) { return ChangePlace{"HKEY_USERS\\k", name}; };
    ChangeRecord modified = ChangeRecord::DeleteKey(key.key);
    modified.kind = ChangeKind::kModify;
    const struct {
        ChangeRecord change;
        std::vector<ChangePlace> places;
    } cases[] = {
        {ChangeRecord::DeleteKey(key.key), {key}},
        {ChangeRecord::NewKey("HKEY_USERS", "k"), {key}},
        {modified, {key}},
        {ChangeRecord::RenameKey(key.key, "n"), {key, {"HKEY_USERS\\n", std::nullopt}}},
        {ChangeRecord::RenameKey(key.key, "K"), {key}},
        {ChangeRecord::EditValue(key.key, "v", 1, "x"), {value("v")}},
        {ChangeRecord::NewValue(key.key, "v", 1, "x"), {value("v")}},
        {ChangeRecord::DeleteValue(key.key, "v", 1), {value("v")}},
        {ChangeRecord::RenameValue(key.key, "v", "w", 1), {value("v"), value("w")}},
        {ChangeRecord::RenameValue(key.key, "v", "V", 1), {value("v")}},
        {ChangeRecord::RenameValue(key.key, "v", "", 1), {value("v"), value("")}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PlacesOf(c.change), c.places) << static_cast<int>(c.change.kind) << " of " << c.change.NewName();
    }
}

TEST(TouchedPlaces, OverlapWhereOneLiesInTheOther)
{
    const ChangePlace key{"A\\k", std::nullopt};
    const struct {
        ChangePlace left;
        ChangePlace right;
        bool overlaps;
    } cases[] = {
        {key, {"a\\K", std::nullopt}, true},
        {key, {"A\\k\\below", std::nullopt}, true},
        {key, {"A\\kk", std::nullopt}, false},
        {key, {"A\\k", "v"}, true},
        {key, {"A\\k\\below", "v"}, true},
        {key, {"A", "v"}, false}, // a value of the key above is not in it
        {{"A\\k", "v"}, {"A\\K", "V"}, true},
        {{"A\\k", "v"}, {"A\\k", ""}, false},
        {{"A\\k", "v"}, {"A\\k\\below", "v"}, false},
    };
    for (const auto& c : cases) {
        for (const auto& [added, asked] : {std::pair(c.left, c.right), std::pair(c.right, c.left)}) {
            TouchedPlaces touched;
            touched.Add({"A\\other", std::nullopt});
            touched.Add(added);
            EXPECT_EQ(touched.Overlaps(asked), c.overlaps) << added.key << " and " << asked.key;
        }
    }
}

} // namespace
} // namespace tolvar
