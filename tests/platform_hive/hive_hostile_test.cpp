#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "platform/hive/hive.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/hive_walk.h"
#include "platform_hive/raw_hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;
using fixtures::RawHive;
using File = std::vector<std::byte>;

/// Counts what a walk has to do.
struct Effort {
    const Hive& hive;
    std::size_t keys = 0;
    std::size_t values = 0;
    std::size_t faults = 0;
    std::size_t bytes = 0; ///< of names, classes and data

    bool OnKey(const KeyNode& key, unsigned /*depth*/)
    {
        ++keys;
        const Checked<NameView> className = hive.ClassName(key);
        bytes += className ? className->bytes : 0;
        return true;
    }
    void OnValue(const ValueRecord& value, DataView data)
    {
        ++values;
        bytes += value.name.bytes;
        for (auto piece = hive.NextPiece(data); piece && !piece->empty(); piece = hive.NextPiece(data)) {
            bytes += piece->size();
        }
    }
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& /*fault*/, unsigned /*depth*/) { ++faults; }
    [[nodiscard]] bool IsStopped() const { return false; }
};

Effort Walk(const Hive& hive)
{
    Effort effort{hive};
    HiveWalk(hive, effort).Run(hive.Root());
    return effort;
}

TEST(HostileHive, ManyKeysWithOneIndexAreNoMoreWorkThanTheIndexIs)
{
    RawHive raw;
    const std::uint32_t leaf = raw.AddList("li", std::vector{raw.AddKey({"child"})});
    const std::uint32_t index = raw.AddList("ri", std::vector<std::uint32_t>(500, leaf));
    std::vector<std::uint32_t> keys;
    for (int i = 0; i < 500; ++i) {
        keys.push_back(raw.AddKey({.subkeys = 1, .subkeyList = index}));
    }
    const auto count = static_cast<std::uint32_t>(keys.size());
    const File file = raw.Finish(raw.AddKey({.subkeys = count, .subkeyList = raw.AddList("li", keys)}));
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const Effort effort = Walk(*hive);
    EXPECT_EQ(effort.keys, 502U);
    EXPECT_LE(effort.faults, 1000U);
    EXPECT_GE(effort.faults, 1U);
}

TEST(HostileHive, NamesClassesAndDataInsideEachOtherAreReadAtMostOnceOver)
{
    RawHive raw;
    // Every 32 bytes of one cell begin what looks like a cell that goes on to the end.
    constexpr std::uint32_t kSize = 1 << 16;
    const std::uint32_t nest = raw.Allocate(kSize - 4);
    std::vector<std::uint32_t> values;
    for (std::uint32_t at = 32; at + 64 < kSize; at += 32) {
        raw.PutSize(nest + at, kSize - at);
        values.push_back(raw.AddValue("v", 3, kSize - at - 4, nest + at));
    }
    const std::string longName(40000, 'n');
    const std::uint32_t named = raw.Allocate(65536);
    raw.PutText(named, 0, longName);
    for (std::uint32_t at = 0; at < 20000; at += 32) { // values whose names overlap
        raw.PutSize(named + at, 65536 + 8 - at);
        raw.Put(named + at, value_fields::kSignature, signatures::kValue);
        raw.Put(named + at, value_fields::kNameLength, 30000);
        raw.Put(named + at, value_fields::kDataLength, kInlineFlag);
        values.push_back(named + at);
    }
    const std::uint32_t classCell = raw.Allocate(60000);
    std::vector<std::uint32_t> keys;
    for (int i = 0; i < 100; ++i) {
        keys.push_back(raw.AddKey({.classCell = classCell, .classLength = 60000}));
    }
    const File file = raw.Finish(raw.AddKey({.subkeys = static_cast<std::uint32_t>(keys.size()),
                                             .subkeyList = raw.AddList("li", keys),
                                             .values = static_cast<std::uint32_t>(values.size()),
                                             .valueList = raw.AddOffsets(values)}));
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const Effort effort = Walk(*hive);
    EXPECT_EQ(effort.keys, 101U);
    EXPECT_GE(effort.values, 1U);
    EXPECT_LE(effort.bytes, 2 * file.size());
    EXPECT_GE(effort.faults, 1U);
}

TEST(HostileHive, AnIndexThatNamesOneLeafOverAndOverIsSearchedOnce)
{
    RawHive raw;
    const std::uint32_t leaf = raw.AddList("li", std::vector<std::uint32_t>(65535, raw.AddKey({"b"})));
    std::vector<std::uint32_t> leaves(65535, leaf);
    leaves[32767] = 8; // no leaf: the order of the others can't be relied on
    const File file = raw.Finish(raw.AddKey({.subkeys = 7, .subkeyList = raw.AddList("ri", leaves)}));
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const Checked<KeyNode> root = hive->Key(hive->Root());
    ASSERT_TRUE(root);
    EXPECT_FALSE(hive->FindSubkey(*root, u"a")); // it may have been in the one that is broken
    EXPECT_FALSE(hive->FindSubkey(*root, u"B")->IsNil());
    SubkeyCursor cursor = hive->Subkeys(*root);
    cursor.Seek(0xFFFFFFFF);
    EXPECT_LE(cursor.Index(), file.size() / 80); // no more than keys could lie in the file
    const Checked<CellOffset> next = cursor.Next();
    EXPECT_TRUE(next && next->IsNil());
}

TEST(HostileHive, NamesOfMoreThan256UnitsAreRefused)
{
    for (const std::size_t length : {256U, 257U}) {
        RawHive raw;
        const std::string name(length, 'n');
        const File file = raw.Finish(raw.AddKey({name}));
        const Result<Hive> hive = Hive::FromBytes(file, "test");
        EXPECT_EQ(hive->Key(hive->Root()).has_value(), length <= 256);
    }
}

TEST(HostileHive, ManyFindingsInADeepKeyStayShort)
{
    RawHive raw;
    const std::string name(256, 'n');
    const std::uint32_t values = raw.AddOffsets(std::vector<std::uint32_t>(2000, 4));
    std::uint32_t key = raw.AddKey({.name = name, .values = 2000, .valueList = values});
    for (int i = 0; i < 500; ++i) {
        key = raw.AddKey({.name = name, .subkeys = 1, .subkeyList = raw.AddList("li", std::vector{key})});
    }
    const File file = raw.Finish(key);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    std::size_t findings = 0;
    std::size_t bytes = 0;
    static_cast<void>(ValidateHive(*hive, [&](const Finding& finding) {
        ++findings;
        bytes += finding.meaning.size();
        if (finding.breach == Breach::kCellNotStart || finding.breach == Breach::kOffsetOutside) {
            EXPECT_THAT(finding.meaning, testing::EndsWith(": ...\\" + name)) << "the end of the path";
        }
    }));
    EXPECT_GE(findings, 2000U);
    EXPECT_LE(bytes, 1500 * findings);
}

TEST(HiveLookup, FindsAKeyWhoseLeavesAreOutOfOrder)
{
    for (const auto kind : {fixtures::LeafKind::kOffsets, fixtures::LeafKind::kHints, fixtures::LeafKind::kHashes}) {
        BuiltKey root{.name = u"ROOT"};
        for (const char16_t c : std::u16string_view(u"ghabefcd")) {
            root.subkeys.push_back({.name = std::u16string(1, c)});
        }
        root.subkeys.push_back({.name = std::u16string(u"a\0b", 3)}); // its hint seems to end behind the "a"
        const File file = HiveBuilder(5, kind, 2).Build(root);
        const Result<Hive> hive = Hive::FromBytes(file, "test");
        for (const BuiltKey& key : root.subkeys) {
            const Checked<CellOffset> found = hive->FindSubkey(*hive->Key(hive->Root()), key.name);
            EXPECT_TRUE(found && !found->IsNil()) << testing::PrintToString(key.name);
        }
        EXPECT_TRUE(hive->FindSubkey(*hive->Key(hive->Root()), u"aa")->IsNil());
    }
}

/// A hive that is cut short while it is open, at every page of it in turn: nothing may read as something else.
TEST(HiveThatIsCutShort, AnswersWhatItHeldOrAFault)
{
    const fixtures::ScratchFolder folder;
    BuiltKey root{.name = u"ROOT"};
    for (char16_t i = 0; i < 400; ++i) {
        const std::u16string name = u"n" + std::u16string(1, static_cast<char16_t>(0x4E00 + i));
        root.values.push_back({name, 7, File(5 + i % 7, std::byte{1})});
        root.subkeys.push_back({.name = name, .className = u"class"});
    }
    const File file = HiveBuilder(5, fixtures::LeafKind::kHashes, 3).Build(root);
    int faults = 0;
    for (std::size_t size = 2 * 4096; size < file.size(); size += 4096) {
        const std::filesystem::path path = folder.Write("hive", file);
        const Result<Hive> hive = Hive::Open(path);
        ASSERT_TRUE(hive);
        std::filesystem::resize_file(path, size);
        const Checked<KeyNode> key = hive->Key(hive->Root());
        ASSERT_TRUE(key);
        const auto descriptor = hive->SecurityDescriptor(*key);
        EXPECT_TRUE(!descriptor || descriptor->size() == 0x4C);
        for (std::size_t i = 0; i < root.subkeys.size(); ++i) {
            const Checked<CellOffset> found = hive->FindSubkey(*key, root.subkeys[i].name);
            const Checked<KeyNode> child = found ? hive->Key(*found) : tl::unexpected(found.error());
            const Checked<NameView> className = child ? hive->ClassName(*child) : tl::unexpected(child.error());
            EXPECT_TRUE(!className || className->ToUtf16() == u"class" ||
                        hive->MediumFailed({className->data, className->bytes}));
            EXPECT_FALSE(found && found->IsNil()) << "the key seems never to have been there";
            const auto value = hive->FindValue(*key, root.values[i].name);
            EXPECT_FALSE(value && !*value) << "the value seems never to have been there";
            const auto data = value && *value ? hive->ReadData(**value) : tl::unexpected(HiveFault{});
            EXPECT_TRUE(!data || *data == root.values[i].data);
            faults += className && data ? 0 : 1;
        }
        std::vector<Breach> breaches;
        static_cast<void>(ValidateHive(*hive, [&](const Finding& finding) { breaches.push_back(finding.breach); }));
        EXPECT_THAT(breaches, testing::Contains(Breach::kMediumFailed));
        EXPECT_THAT(breaches, testing::Not(testing::Contains(Breach::kBinSignature)));
    }
    EXPECT_GT(faults, 0);
}

TEST(HiveThatIsCutShort, DoesNotSayThatAKeyIsMissingWhichLiesBehindTheCut)
{
    RawHive raw;
    const std::uint32_t list = raw.AddList("li", std::vector<std::uint32_t>(100));
    for (unsigned i = 0; i < 100; ++i) { // about 9000 bytes of keys behind their list
        raw.Put(list, list_fields::Offset(i, kPlainElement), raw.AddKey({std::to_string(1000 + i)}));
    }
    const std::uint32_t root = raw.AddKey({"root"});
    raw.SetKey(root, {.name = "root", .subkeys = 100, .subkeyList = list});
    const fixtures::ScratchFolder folder;
    const std::filesystem::path path = folder.Write("hive", raw.Finish(root));
    const Result<Hive> hive = Hive::Open(path);
    ASSERT_TRUE(hive);
    const Checked<KeyNode> key = hive->Key(hive->Root());
    ASSERT_TRUE(key);
    std::filesystem::resize_file(path, 2 * 4096);
    EXPECT_TRUE(hive->FindSubkey(*key, u"1000"));
    const Checked<CellOffset> behind = hive->FindSubkey(*key, u"1099");
    ASSERT_FALSE(behind);
    EXPECT_EQ(behind.error().breach, Breach::kMediumFailed);
}

} // namespace
} // namespace tolvar
