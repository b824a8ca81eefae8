#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_contents.h"
#include "platform/hive/hive_composer.h"
#include "platform_hive/changed_hive.h"
#include "platform_hive/raw_hive.h"

namespace tolvar {
namespace {

using fixtures::ChangedHive;
using fixtures::ContentsOf;
using fixtures::CountBreaches;
using fixtures::HiveBuilder;
using fixtures::HiveContents;
using fixtures::RawHive;
using fixtures::UntouchedDifference;
using File = std::vector<std::byte>;

const std::filesystem::path kAttack = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives" / "attack";

File ReadFile(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

File SmallHive()
{
    return HiveBuilder().Build({.name = u"ROOT", .values = {{u"v", 3, File(9)}}, .subkeys = {{.name = u"sub"}}});
}

/// Runs `write` on every key of a hive in turn, each time from the start: nothing but that key may change, nothing at
/// all where the call fails, and no breach may come.
template <class Write>
void WriteIntoEachKey(const File& file, Write&& write)
{
    const HiveContents all = ContentsOf(ChangedHive(file).hive);
    const std::size_t step = std::max<std::size_t>(1, all.size() / 40);
    std::size_t number = 0;
    for (const auto& [path, key] : all) {
        if (number++ % step != 0) {
            continue;
        }
        SCOPED_TRACE(path);
        ChangedHive changed(file);
        const std::size_t breaches = CountBreaches(changed.hive);
        const bool isDone = write(changed, key.cell);
        EXPECT_EQ(UntouchedDifference(all, ContentsOf(changed.hive), isDone ? &path : nullptr), "");
        EXPECT_LE(CountBreaches(changed.hive), breaches);
    }
}

/// Every writing call on every key.
void WriteEverything(const File& file)
{
    const File small = SmallHive();
    const Hive source = Hive::FromBytes(small, "small").value();
    const auto valueOf = [](ChangedHive& changed, CellOffset key) {
        const Checked<ValueListView> values = changed.hive.Values(*changed.hive.Key(key));
        const auto value = values && values->count != 0 ? changed.hive.Value((*values)[0]) : Fault(Breach::kNone, key);
        return value ? value->name.ToUtf16() : u"none";
    };
    WriteIntoEachKey(file, [&](ChangedHive& changed, CellOffset key) {
        return changed.writer.SetValue(key, valueOf(changed, key), 3, File(30'000, std::byte{5})).has_value();
    });
    WriteIntoEachKey(file, [&](ChangedHive& changed, CellOffset key) {
        return changed.writer.DeleteValue(key, valueOf(changed, key)).has_value();
    });
    WriteIntoEachKey(file, [](ChangedHive& changed, CellOffset key) {
        return changed.writer.DeleteTree(key, [](CellOffset) {}).has_value();
    });
    WriteIntoEachKey(file, [&](ChangedHive& changed, CellOffset key) {
        return changed.writer.Replace(key, source, source.Root()).has_value();
    });
}

TEST(Attacks, OfTheSharedFolderReachNoOtherKey)
{
    if (!std::filesystem::exists(kAttack)) {
        GTEST_SKIP() << "the folder with hives that break a careless writer is not here";
    }
    for (const char* name :
         {"shared-bigdata-import-segv", "shared-data-import-heap", "shared-data-import-hang", "shared-data-two-keys",
          "security-count-low", "predefined-handle", "damaged-writes/write-2-104", "damaged-writes/write-2-1153",
          "damaged-writes/write-2-684"}) {
        SCOPED_TRACE(name);
        WriteEverything(ReadFile(kAttack / name));
    }
}

TEST(Attacks, ASourceThatDoesNotFitLeavesTheTargetAsItWas)
{
    if (!std::filesystem::exists(kAttack)) {
        GTEST_SKIP() << "the folder with hives that break a careless writer is not here";
    }
    const File file = ReadFile(kAttack / "import-source-2MiB-value");
    const Hive source = Hive::FromBytes(file, "source").value();
    ChangedHive changed(3);
    const CellOffset key = *changed.writer.CreateKey(changed.hive.Root(), u"k");
    ASSERT_TRUE(changed.writer.SetValue(key, u"v", 3, File(100)));
    const HiveContents before = ContentsOf(changed.hive);
    EXPECT_FALSE(changed.writer.Replace(changed.hive.Root(), source, source.Root()));
    EXPECT_FALSE(changed.writer.Merge(changed.hive.Root(), source, source.Root()));
    EXPECT_EQ(UntouchedDifference(before, ContentsOf(changed.hive), nullptr), "");
    EXPECT_EQ(CountBreaches(changed.hive), 0U);
}

/// A root with two keys, whose values are those of `build`.
template <class Build>
File TwoKeys(Build&& build)
{
    RawHive raw;
    const std::uint32_t root = raw.AddKey({"root"});
    const std::uint32_t a = raw.AddKey({"a"});
    const std::uint32_t b = raw.AddKey({"b"});
    build(raw, a, b);
    raw.SetKey(root, {.name = "root", .subkeys = 2, .subkeyList = raw.AddList("li", std::vector{a, b})});
    const std::uint32_t record = raw.Allocate(kSecurityFixedSize + 20);
    raw.Put(record, security_fields::kSignature, signatures::kSecurity);
    raw.Put(record, security_fields::kNext, record);
    raw.Put(record, security_fields::kPrevious, record);
    raw.Put(record, security_fields::kReferences, 1); // of three keys
    raw.Put(record, security_fields::kLength, 20);
    for (const std::uint32_t key : {root, a, b}) {
        raw.Put(key, key_fields::kSecurity, record);
        raw.Put(key, key_fields::kParent, key == root ? RawHive::kNil : root);
    }
    return raw.Finish(root);
}

TEST(Attacks, CellsOfTwoOwnersStayForTheOther)
{
    const auto withValues = [](RawHive& raw, std::uint32_t key, const char* name, std::vector<std::uint32_t> values) {
        const auto count = static_cast<std::uint32_t>(values.size());
        raw.SetKey(key, {.name = name, .values = count, .valueList = raw.AddOffsets(values)});
    };
    const File files[] = {
        TwoKeys([&](RawHive& raw, std::uint32_t a, std::uint32_t b) { // data
            const std::uint32_t data = raw.Allocate(100);
            withValues(raw, a, "a", {raw.AddValue("x", 3, 100, data), raw.AddValue("y", 3, 100, data)});
            withValues(raw, b, "b", {raw.AddValue("z", 3, 100, data)});
        }),
        TwoKeys([&](RawHive& raw, std::uint32_t a, std::uint32_t b) { // a value
            const std::uint32_t value = raw.AddValue("x", 3, 100, raw.Allocate(100));
            withValues(raw, a, "a", {value});
            withValues(raw, b, "b", {value});
        }),
        TwoKeys([&](RawHive& raw, std::uint32_t a, std::uint32_t b) { // a list
            const std::uint32_t list = raw.AddOffsets(std::vector{raw.AddValue("x", 3, 100, raw.Allocate(100))});
            raw.SetKey(a, {.name = "a", .values = 1, .valueList = list});
            raw.SetKey(b, {.name = "b", .values = 1, .valueList = list});
        }),
        TwoKeys([&](RawHive& raw, std::uint32_t a, std::uint32_t b) { // data within other data
            const std::uint32_t data = raw.Allocate(400);
            raw.PutSize(data + 64, 80);
            withValues(raw, a, "a", {raw.AddValue("x", 3, 400, data)});
            withValues(raw, b, "b", {raw.AddValue("z", 3, 60, data + 64)});
        }),
    };
    for (const File& file : files) {
        SCOPED_TRACE(&file - files);
        WriteEverything(file);
    }
}

TEST(Attacks, ARecordThatIsCountedWrongGoesWithItsLastKeyAlone)
{
    ChangedHive changed(TwoKeys([](RawHive&, std::uint32_t, std::uint32_t) {}));
    ASSERT_TRUE(changed.writer.DeleteKey(changed.Find(u"a")));
    const CellOffset record = changed.hive.Key(changed.hive.Root())->security;
    ASSERT_TRUE(changed.hive.Cell(record)) << "the record went with a key of three";
    EXPECT_EQ(changed.hive.Cell(record)->Get(security_fields::kReferences), 2U);
}

TEST(Attacks, NothingIsPutWhereADanglingReferenceLeads)
{
    // The value's data is in a free cell, the first one that anything would be put into.
    File file = TwoKeys([](RawHive& raw, std::uint32_t a, std::uint32_t) {
        const std::uint32_t data = raw.Allocate(100);
        raw.SetKey(
            a, {.name = "a", .values = 1, .valueList = raw.AddOffsets(std::vector{raw.AddValue("x", 3, 100, data)})});
        raw.PutSize(data, 0U - 104);
    });
    ChangedHive changed(file);
    const CellOffset b = changed.Find(u"b");
    const auto reads = [&] {
        const auto value = changed.hive.FindValue(*changed.hive.Key(changed.Find(u"a")), u"x");
        return changed.hive.ReadData(**value).has_value();
    };
    ASSERT_FALSE(reads());
    for (char16_t i = 0; i < 100; ++i) {
        ASSERT_TRUE(changed.writer.SetValue(b, std::u16string(1, i), 3, File(90)));
        ASSERT_FALSE(reads());
    }
}

TEST(Attacks, AListOfValuesThatManyKeysShareIsCopiedOnce)
{
    RawHive raw;
    const std::uint32_t list = raw.AddOffsets(std::vector{raw.AddValue("x", 3, 8000, raw.Allocate(8000))});
    std::vector<std::uint32_t> keys;
    for (int i = 100; i < 500; ++i) {
        keys.push_back(raw.AddKey({.name = std::to_string(i), .values = 1, .valueList = list}));
    }
    const File file = raw.Finish(raw.AddKey({.subkeys = 400, .subkeyList = raw.AddList("li", keys)}));
    const Hive hive = Hive::FromBytes(file, "test").value();
    int shared = 0;
    HiveComposer composer(hive, {}, [&shared](const HiveFault& fault) { shared += fault.breach == Breach::kShared; });
    EXPECT_LT(composer.Compose(hive.Root())->size(), 2 * file.size());
    EXPECT_EQ(shared, 399);
}

TEST(Attacks, APredefinedHandleIsNeverChanged)
{
    File file = HiveBuilder().Build({.name = u"ROOT", .subkeys = {{.name = u"k"}}});
    const Hive whole = Hive::FromBytes(file, "whole").value();
    const CellOffset cell = *whole.FindSubkey(*whole.Key(whole.Root()), u"k");
    file[cell.FilePosition() + kCellHeader + key_fields::kFlags.at] |= std::byte{key_flags::kPredefinedHandle};
    ChangedHive changed(file);
    const CellOffset key = changed.Find(u"k");
    const auto refused = [](const auto& result) { return !result && result.error().code == ErrorCode::kNotSupported; };
    EXPECT_TRUE(refused(changed.writer.SetValue(key, u"v", 1, {})));
    EXPECT_TRUE(refused(changed.writer.CreateKey(key, u"below")));
    EXPECT_TRUE(refused(changed.writer.DeleteKey(key)));
    EXPECT_TRUE(refused(changed.writer.SetClass(key, u"c")));
}

} // namespace
} // namespace tolvar
