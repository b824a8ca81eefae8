#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_validator.h"
#include "platform_hive/changed_hive.h"
#include "platform_hive/raw_hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::ChangedHive;
using fixtures::Difference;
using fixtures::Findings;
using fixtures::HiveBuilder;
using fixtures::Numbered;
using fixtures::ReadModel;
using File = std::vector<std::byte>;

ErrorCode CodeOf(const auto& result)
{
    return result ? ErrorCode::kSuccess : result.error().code;
}

/// The descriptor of a key's record with another last byte: another group.
File OtherDescriptor(const Hive& hive, CellOffset key, unsigned last)
{
    const auto own = *hive.SecurityDescriptor(*hive.Key(key));
    File other(own.begin(), own.end());
    other.back() = static_cast<std::byte>(last);
    return other;
}

/// What a validator counts of `hive`, which has no breach.
ValidationSummary Summary(const Hive& hive)
{
    return ValidateHive(hive, [](const Finding& finding) { ADD_FAILURE() << finding.meaning; });
}

/// A key with all that a key can have, and enough subkeys for an index.
CellOffset MakeRichTree(ChangedHive& changed, unsigned subkeys)
{
    HiveWriter& writer = changed.writer;
    const CellOffset top = writer.CreateKey(changed.hive.Root(), u"Rich", u"TopClass").value();
    EXPECT_TRUE(writer.SetValue(top, u"", 1, File(8, std::byte{1})));
    EXPECT_TRUE(writer.SetValue(top, u"large", 3, File(50'000, std::byte{2})));
    EXPECT_TRUE(writer.SetValue(top, u"\x416\x43D", 4, File(4, std::byte{3})));
    for (unsigned i = 0; i < subkeys; ++i) {
        const CellOffset key = writer.CreateKey(top, Numbered(i), i % 2 == 0 ? u"" : u"Odd class").value();
        EXPECT_TRUE(writer.SetValue(key, u"v", 3, File(i % 40, std::byte{4})));
        if (i % 3 == 0) {
            EXPECT_TRUE(writer.SetSecurity(key, OtherDescriptor(changed.hive, key, i % 5)));
        }
    }
    return top;
}

TEST(HiveWriterTree, GivesBackEveryCellOfADeletedTree)
{
    for (const std::uint32_t minor : {3U, 5U}) {
        for (const unsigned subkeys : {0U, 1U, 600U, 1500U}) {
            ChangedHive changed(minor);
            const CellOffset stays = *changed.writer.CreateKey(changed.hive.Root(), u"Stays");
            ASSERT_TRUE(changed.writer.SetValue(stays, u"v", 3, File(9)));
            const ValidationSummary before = Summary(changed.hive);
            const CellOffset top = MakeRichTree(changed, subkeys);
            std::size_t told = 0;
            ASSERT_TRUE(changed.writer.DeleteTree(top, [&told](CellOffset) { ++told; }));
            EXPECT_EQ(told, subkeys + 1);
            const ValidationSummary after = Summary(changed.hive);
            EXPECT_EQ(after.cells, before.cells);
            EXPECT_EQ(after.keys, before.keys);
            EXPECT_EQ(after.securityRecords, 1U);
            EXPECT_TRUE(changed.Find(u"Rich").IsNil());
            EXPECT_FALSE(changed.Find(u"Stays").IsNil());
        }
    }
}

TEST(HiveWriterTree, DeletesNothingWhereOneKeyCanNotGo)
{
    ChangedHive changed;
    const CellOffset root = changed.hive.Root();
    const CellOffset top = MakeRichTree(changed, 5);
    const auto none = [](CellOffset) { ADD_FAILURE() << "a key went"; };
    EXPECT_EQ(CodeOf(changed.writer.DeleteTree(root, none)), ErrorCode::kAccessDenied);
    const fixtures::ModelKey model = ReadModel(changed.hive, root);
    BuiltKey hostile{.name = u"ROOT", .subkeys = {{.name = u"t", .subkeys = {{.name = u"a"}, {.name = u"b"}}}}};
    for (const auto& [field, value, code] : {std::tuple{key_fields::kFlags.at, 0x28U, ErrorCode::kAccessDenied},
                                             {key_fields::kSignature.at, 0U, ErrorCode::kRegistryCorrupt}}) {
        File file = HiveBuilder().Build(hostile);
        const Hive whole = Hive::FromBytes(file, "whole").value();
        const CellOffset t = *whole.FindSubkey(*whole.Key(whole.Root()), u"t");
        const CellOffset b = *whole.FindSubkey(*whole.Key(t), u"b");
        std::memcpy(file.data() + b.FilePosition() + kCellHeader + field, &value, 2);
        ChangedHive damaged(file);
        const File before(damaged.hive.FileBytes().begin(), damaged.hive.FileBytes().end());
        EXPECT_EQ(CodeOf(damaged.writer.DeleteTree(t, none)), code);
        EXPECT_TRUE(std::ranges::equal(before, damaged.hive.FileBytes()));
    }
    EXPECT_EQ(Difference(changed.hive, root, model), "");
    EXPECT_EQ(CodeOf(changed.writer.DeleteKey(top)), ErrorCode::kAccessDenied);
}

TEST(HiveWriterTree, GoesNoDeeperThanTheFormatDoes)
{
    for (const unsigned levels : {511U, 512U}) {
        fixtures::RawHive raw;
        std::vector<std::uint32_t> keys;
        for (unsigned i = 0; i <= levels; ++i) {
            keys.push_back(raw.AddKey({}));
        }
        for (unsigned i = 0; i < levels; ++i) {
            raw.SetKey(keys[i], {.subkeys = 1, .subkeyList = raw.AddList("li", std::vector{keys[i + 1]})});
            raw.Put(keys[i + 1], key_fields::kParent, keys[i]);
        }
        ChangedHive changed(raw.Finish(keys[0]));
        const auto deleted = changed.writer.DeleteTree(CellOffset{keys[1]}, [](CellOffset) {});
        EXPECT_EQ(CodeOf(deleted), levels == 511 ? ErrorCode::kSuccess : ErrorCode::kRegistryCorrupt);
    }
}

TEST(HiveWriterCopy, MakesATrueCopyOverWhatIsThereOrBesideIt)
{
    for (const std::uint32_t minor : {3U, 5U}) {
        ChangedHive source(minor);
        const CellOffset top = MakeRichTree(source, 30);
        ASSERT_TRUE(source.writer.MakeLink(*source.writer.CreateKey(top, u"Link")));
        ASSERT_TRUE(source.writer.SetLastWrite(top, 12'345));
        for (const bool isMerge : {false, true}) {
            ChangedHive changed(minor);
            const CellOffset target = *changed.writer.CreateKey(changed.hive.Root(), u"Rich");
            const CellOffset own = *changed.writer.CreateKey(target, u"KEY1000001"); // spelt in another way
            ASSERT_TRUE(changed.writer.SetValue(own, u"V", 1, File(3)));
            ASSERT_TRUE(changed.writer.SetValue(target, u"mine", 1, {}));
            ASSERT_TRUE(changed.writer.CreateKey(target, u"Only here"));
            fixtures::ModelKey expected = ReadModel(source.hive, top);
            if (isMerge) {
                expected.values.insert(expected.values.begin(), {u"mine", 1, {}});
                expected.subkeys[1]->name = u"KEY1000001";
                expected.subkeys[1]->values[0].name = u"V";
                auto here = std::make_unique<fixtures::ModelKey>();
                here->name = u"Only here";
                here->security = ReadModel(changed.hive, changed.hive.Root()).security;
                expected.subkeys.push_back(std::move(here));
                ASSERT_TRUE(changed.writer.Merge(target, source.hive, top));
            } else {
                ASSERT_TRUE(changed.writer.Replace(target, source.hive, top));
            }
            EXPECT_EQ(Difference(changed.hive, target, expected), "");
            EXPECT_EQ(changed.hive.Key(target)->lastWrite, 12'345U);
            EXPECT_EQ(Findings(changed.hive), "");
            const CellOffset link = *changed.hive.FindSubkey(*changed.hive.Key(target), u"Link");
            EXPECT_TRUE(changed.hive.Key(link)->Is(key_flags::kSymbolicLink));
            for (unsigned i = 0; i < 30; ++i) {
                const auto descriptorOf = [&](const Hive& hive, CellOffset above) {
                    const CellOffset key = *hive.FindSubkey(*hive.Key(above), Numbered(i));
                    const auto bytes = *hive.SecurityDescriptor(*hive.Key(key));
                    return File(bytes.begin(), bytes.end());
                };
                EXPECT_EQ(descriptorOf(changed.hive, target), descriptorOf(source.hive, top));
            }
        }
    }
}

/// A hive whose root and its subkeys have every bit that says what a key is: "k" is marked all over and has a value
/// that hides another, "h" is a predefined handle, "l" a link.
File MarkedHive()
{
    File file = HiveBuilder(6).Build(
        {.name = u"ROOT",
         .subkeys = {{.name = u"h"},
                     {.name = u"k", .values = {{u"gone", 0, {}}, {u"stays", 3, fixtures::Bytes({1, 2, 3})}}},
                     {.name = u"l", .values = {{u"SymbolicLinkValue", 6, fixtures::TextData(u"\\x")}}}}});
    const Hive hive = Hive::FromBytes(file, "marked").value();
    const KeyNode root = *hive.Key(hive.Root());
    const auto put = [&file](CellOffset cell, auto field, auto value) {
        Store(std::span(file).subspan(cell.FilePosition() + kCellHeader), field, value);
    };
    const auto mark = [&](CellOffset cell, unsigned flags) {
        put(cell, key_fields::kFlags, static_cast<std::uint16_t>(flags));
        for (const auto bits :
             {key_fields::kAccessBits, key_fields::kLayerBits, key_fields::kVirtualization, key_fields::kDebug}) {
            put(cell, bits, static_cast<std::uint8_t>(0xFF - bits.at));
        }
    };
    constexpr unsigned kElsewhere = key_flags::kOfPlace | key_flags::kSymbolicLink | key_flags::kPredefinedHandle;
    constexpr unsigned kAll = 0xFFFF & ~kElsewhere;
    mark(hive.Root(), kAll | key_flags::kHiveEntry | key_flags::kLatin1Name);
    mark(*hive.FindSubkey(root, u"k"), kAll | key_flags::kLatin1Name);
    mark(*hive.FindSubkey(root, u"l"), kAll | key_flags::kLatin1Name | key_flags::kSymbolicLink);
    mark(*hive.FindSubkey(root, u"h"), kAll | key_flags::kLatin1Name | key_flags::kPredefinedHandle);
    put(*hive.FindSubkey(root, u"h"), key_fields::kValueCount, 0x80000123U);
    const CellOffset value = (*hive.Values(*hive.Key(*hive.FindSubkey(root, u"k"))))[0];
    put(value, value_fields::kFlags, static_cast<std::uint16_t>(kTombstone | kLatin1ValueName));
    put(value, value_fields::kDataLength, 0U);
    put(value, value_fields::kData, CellOffset::kNil);
    Store(std::span(file), base_fields::kFlags, kHasLayers);
    HiveBuilder::FixChecksum(file);
    return file;
}

/// All that says what a key is, in words.
std::string MarksOf(const Hive& hive, CellOffset at, unsigned without = 0)
{
    const KeyNode node = *hive.Key(at);
    const CellView cell = *hive.Cell(at);
    std::vector<unsigned> marks = {cell.Get(key_fields::kFlags) & ~without,
                                   cell.Get(key_fields::kAccessBits),
                                   cell.Get(key_fields::kLayerBits),
                                   cell.Get(key_fields::kVirtualization),
                                   cell.Get(key_fields::kDebug),
                                   node.Is(key_flags::kPredefinedHandle) ? cell.Get(key_fields::kValueCount) : 0};
    const ValueListView values = *hive.Values(node);
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const CellView value = *hive.Cell(values[i]);
        marks.push_back(value.Get(value_fields::kFlags));
        marks.push_back(value.Get(value_fields::kDataLength));
        marks.push_back(hive.Value(values[i])->isInline ? value.Get(value_fields::kData) : 0);
    }
    std::string text = node.name.ToUtf8() + testing::PrintToString(marks);
    SubkeyCursor subkeys = hive.Subkeys(node);
    for (CellOffset next = *subkeys.Next(); !next.IsNil(); next = *subkeys.Next()) {
        text += MarksOf(hive, next);
    }
    return text;
}

TEST(HiveWriterCopy, KeepsEveryBitThatSaysWhatAKeyOrValueIs)
{
    const File file = MarkedHive();
    const Hive source = Hive::FromBytes(file, "marked").value();
    ASSERT_EQ(Findings(source), "");
    const auto compose = [](const Hive& hive, CellOffset top) {
        return HiveComposer(hive, u"ROOT", [](const HiveFault&) { FAIL(); }).Compose(top).value();
    };
    const File whole = compose(source, source.Root()); // as a compaction does
    const Hive compacted = Hive::FromBytes(whole, "compacted").value();
    EXPECT_EQ(MarksOf(compacted, compacted.Root()), MarksOf(source, source.Root()));
    EXPECT_EQ(compacted.Base().flags, kHasLayers);
    EXPECT_EQ(Findings(compacted), "");
    for (const std::uint32_t minor : {3U, 5U, 6U}) {
        for (const auto copy : {&HiveWriter::Merge, &HiveWriter::Replace}) {
            ChangedHive changed(minor);
            const CellOffset target = *changed.writer.CreateKey(changed.hive.Root(), u"ROOT");
            ASSERT_TRUE((changed.writer.*copy)(target, source, source.Root()));
            // The root's own marks are not for a copy below another key.
            const std::string marks = MarksOf(source, source.Root(), key_flags::kOfRoot);
            EXPECT_EQ(MarksOf(changed.hive, target), marks);
            EXPECT_EQ(Findings(changed.hive), "");
            // Out as an export does, and in again.
            const File exported = compose(changed.hive, target);
            const Hive again = Hive::FromBytes(exported, "exported").value();
            ASSERT_TRUE(changed.writer.CreateKey(changed.hive.Root(), u"a"));
            const CellOffset second = changed.Find(u"a");
            ASSERT_TRUE((changed.writer.*copy)(second, again, again.Root()));
            EXPECT_EQ(MarksOf(changed.hive, second).substr(1), marks.substr(4));
            EXPECT_EQ(Findings(changed.hive), "");
        }
    }
}

TEST(HiveWriterCopy, RefusesASourceThatCanNotBeReadWhole)
{
    File file = HiveBuilder().Build({.name = u"ROOT", .subkeys = {{.name = u"a"}, {.name = u"b"}}});
    const Hive whole = Hive::FromBytes(file, "whole").value();
    file[whole.FindSubkey(*whole.Key(whole.Root()), u"b")->FilePosition() + 4] = std::byte{0};
    const Hive source = Hive::FromBytes(file, "source").value();
    ChangedHive changed;
    const CellOffset target = MakeRichTree(changed, 3);
    const fixtures::ModelKey before = ReadModel(changed.hive, target);
    EXPECT_EQ(CodeOf(changed.writer.Replace(target, source, source.Root())), ErrorCode::kRegistryCorrupt);
    EXPECT_EQ(CodeOf(changed.writer.Merge(target, source, source.Root())), ErrorCode::kRegistryCorrupt);
    EXPECT_EQ(Difference(changed.hive, target, before), "");
}

TEST(HiveWriterSecurity, SharesRecordsAndKeepsTheRing)
{
    ChangedHive changed;
    std::vector<CellOffset> keys;
    for (unsigned i = 0; i < 4; ++i) {
        keys.push_back(*changed.writer.CreateKey(changed.hive.Root(), Numbered(i)));
    }
    const auto records = [&] { return Summary(changed.hive).securityRecords; };
    EXPECT_EQ(records(), 1U);
    for (unsigned i = 0; i < 4; ++i) {
        ASSERT_TRUE(changed.writer.SetSecurity(keys[i], OtherDescriptor(changed.hive, keys[i], 1 + i % 3)));
        EXPECT_EQ(records(), 2U + std::min(i, 2U));
    }
    EXPECT_EQ(changed.hive.Key(keys[0])->security, changed.hive.Key(keys[3])->security);
    ASSERT_TRUE(changed.writer.SetSecurity(keys[1], OtherDescriptor(changed.hive, keys[1], 3))); // one from the middle
    EXPECT_EQ(records(), 3U);
    ASSERT_TRUE(changed.writer.DeleteKey(keys[0]));
    EXPECT_EQ(records(), 3U);
    ASSERT_TRUE(changed.writer.DeleteKey(keys[3]));
    EXPECT_EQ(records(), 2U);
    EXPECT_EQ(CodeOf(changed.writer.SetSecurity(keys[1], {})), ErrorCode::kInvalidParameter);
    EXPECT_EQ(CodeOf(changed.writer.SetSecurity(keys[1], File(65536))), ErrorCode::kInvalidParameter);
    EXPECT_EQ(CodeOf(changed.writer.SetSecurity(keys[1], File(65535))), ErrorCode::kSuccess);
}

TEST(HiveWriterKeys, GiveTheirClassesAndFlagsWhereTheyAreAllowed)
{
    ChangedHive changed;
    HiveWriter& writer = changed.writer;
    const CellOffset key = *writer.CreateKey(changed.hive.Root(), u"k", u"first");
    const auto classOf = [&] { return changed.hive.ClassName(*changed.hive.Key(key))->ToUtf16(); };
    const std::uint64_t cells = Summary(changed.hive).cells;
    for (const std::u16string& name : {std::u16string(), std::u16string(u"other"), std::u16string(32767, u'x')}) {
        ASSERT_TRUE(writer.SetClass(key, name));
        EXPECT_EQ(classOf(), name);
        EXPECT_EQ(Summary(changed.hive).cells, cells - (name.empty() ? 1 : 0));
    }
    EXPECT_EQ(CodeOf(writer.SetClass(key, std::u16string(32768, u'x'))), ErrorCode::kInvalidParameter);
    EXPECT_EQ(CodeOf(writer.CreateKey(key, u"n", std::u16string(32768, u'x'))), ErrorCode::kInvalidParameter);
    EXPECT_EQ(CodeOf(writer.CreateKey(key, u"n", std::u16string(32767, u'x'))), ErrorCode::kSuccess);
    EXPECT_EQ(CodeOf(writer.MakeLink(key)), ErrorCode::kAccessDenied) << "it has a subkey";
    EXPECT_EQ(CodeOf(writer.MakeLink(changed.hive.Root())), ErrorCode::kAccessDenied);
    const CellOffset link = *writer.CreateKey(key, u"link");
    EXPECT_EQ(CodeOf(writer.MakeLink(link)), ErrorCode::kSuccess);
    ASSERT_TRUE(writer.SetValue(link, u"SymbolicLinkValue", 6, File(2)));
    EXPECT_EQ(CodeOf(writer.MakeLink(link)), ErrorCode::kAccessDenied) << "it has a value";
    EXPECT_EQ(Findings(changed.hive), "");
}

TEST(HiveWriterKeys, TakeOverTheirParentsVirtualizationWhereItSaysSo)
{
    for (const auto& [flags, inherited] : {std::pair{0xA5U, 0xA0U}, {0x25U, 0U}}) {
        File file = HiveBuilder().Build({.name = u"ROOT"});
        file[4096 + 32 + 4 + key_fields::kVirtualization.at] = static_cast<std::byte>(flags);
        ChangedHive changed(file);
        const CellOffset key = *changed.writer.CreateKey(changed.hive.Root(), u"k");
        EXPECT_EQ(changed.hive.Key(key)->virtualizationFlags, inherited);
    }
}

TEST(HiveWriterValues, GoIntoTheOldCellWhereTheyFitWithoutWaste)
{
    struct Case {
        std::size_t before;
        std::size_t after;
        bool isSameCell;
    };
    for (const Case& c : {Case{100, 100, true}, Case{100, 84, true}, Case{100, 9, true}, Case{100, 8, false},
                          Case{100, 101, false}, Case{100, 4, false}, Case{4, 100, false}, Case{16344, 16345, false},
                          Case{16345, 16344, false}, Case{16344, 5000, true}}) {
        SCOPED_TRACE(testing::Message() << c.before << " by " << c.after);
        ChangedHive changed;
        const CellOffset root = changed.hive.Root();
        const auto cell = [&] { return (*changed.hive.FindValue(*changed.hive.Key(root), u"v"))->dataCell; };
        ASSERT_TRUE(changed.writer.SetValue(root, u"v", 3, File(c.before)));
        const CellOffset before = cell();
        ASSERT_TRUE(changed.writer.SetValue(root, u"v", 4, File(c.after, std::byte{1})));
        const ValueRecord value = **changed.hive.FindValue(*changed.hive.Key(root), u"v");
        EXPECT_EQ(cell() == before, c.isSameCell);
        EXPECT_EQ(value.type, 4U);
        EXPECT_EQ(*changed.hive.ReadData(value), File(c.after, std::byte{1}));
        EXPECT_EQ(Findings(changed.hive), "");
    }
}

TEST(HiveWriter, ChangesNothingWhereTheHiveCanNotGrow)
{
    std::size_t refused = 0;
    for (std::size_t pages = 2; pages < 40; ++pages) {
        const fixtures::FixedClock clock;
        const auto scratch = ScratchHive::Make(EmptyHive(u"ROOT", 1), pages * 4096, "small", clock).value();
        const Hive& hive = scratch->hive;
        HiveWriter& writer = scratch->writer;
        const CellOffset root = hive.Root();
        const auto unchangedUnless = [&](const auto& result, const fixtures::ModelKey& before) {
            if (!result) {
                ++refused;
                EXPECT_EQ(result.error().code, ErrorCode::kNotEnoughMemory);
                EXPECT_EQ(Difference(hive, root, before), "");
            }
            EXPECT_EQ(Findings(hive), "");
            return result.has_value();
        };
        bool goesOn = true;
        for (unsigned i = 0; i < 40 && goesOn; ++i) {
            const auto state = [&] { return ReadModel(hive, root); };
            fixtures::ModelKey before = state();
            goesOn = unchangedUnless(writer.CreateKey(root, Numbered(i), std::u16string(i * 30, u'c')), before);
            before = state();
            goesOn = unchangedUnless(writer.SetValue(root, Numbered(i), 3, File(i * 700)), before) && goesOn;
            before = state();
            goesOn = unchangedUnless(writer.SetValue(root, Numbered(0), 3, File(i * 1000)), before) && goesOn;
            const CellOffset first = *hive.FindSubkey(*hive.Key(root), before.subkeys.front()->name);
            before = state();
            goesOn = unchangedUnless(writer.RenameKey(first, std::u16string(100 + i, u'r')), before) && goesOn;
            before = state();
            goesOn = unchangedUnless(writer.RenameValue(root, before.values.back().name, std::u16string(300 + i, u'v')),
                                     before) &&
                     goesOn;
        }
    }
    EXPECT_GT(refused, 38U);
}

TEST(HiveEditor, IsNotFooledByDataThatLooksLikeABin)
{
    ChangedHive changed;
    const CellOffset root = changed.hive.Root();
    File fake(3 * 4096); // whatever page of it a bin could begin at says that one does
    ASSERT_TRUE(changed.writer.SetValue(root, u"v", 3, fake));
    const CellOffset cell = (*changed.hive.FindValue(*changed.hive.Key(root), u"v"))->dataCell;
    for (std::uint32_t at = (cell.value + 4095) / 4096 * 4096; at + 12 < cell.value + 4 + fake.size(); at += 4096) {
        const std::uint32_t header[] = {signatures::kBin, at, 4096};
        std::memcpy(fake.data() + (at - cell.value - 4), header, sizeof header);
    }
    ASSERT_TRUE(changed.writer.SetValue(root, u"v", 3, fake));
    ASSERT_TRUE(changed.writer.SetValue(root, u"after", 3, File(100)));
    ChangedHive reopened(changed.hive.FileBytes());
    ASSERT_TRUE(reopened.writer.DeleteValue(reopened.hive.Root(), u"after"));
    ASSERT_TRUE(reopened.writer.DeleteValue(reopened.hive.Root(), u"v"));
    EXPECT_EQ(Findings(reopened.hive), "");
}

TEST(HiveEditor, PutsBackWhatAChangeOverwroteMovedAndMadeUnlessItIsKept)
{
    ChangedHive changed;
    const CellOffset root = changed.hive.Root();
    File data(100);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::byte>(i + 1);
    }
    for (const char16_t* name : {u"a", u"b", u"c"}) {
        ASSERT_TRUE(changed.writer.SetValue(root, name, 3, data));
    }
    ASSERT_TRUE(changed.writer.DeleteValue(root, u"b")); // a hole that is used again
    const CellOffset cell = (*changed.hive.FindValue(*changed.hive.Key(root), u"a"))->dataCell;
    const auto read = [&](std::u16string_view name) {
        return *changed.hive.ReadData(**changed.hive.FindValue(*changed.hive.Key(root), name));
    };
    const std::uint32_t length = changed.hive.Length();
    const auto changeAll = [&] {
        changed.editor.StoreBytes(cell, 10, File(20, std::byte{0xEE}));
        changed.editor.CloseGap(cell, 4, 3, 60);
        changed.editor.StoreBytes(cell, 8, File(40, std::byte{0xDD}));
        changed.editor.CloseGap(cell, 0, 50, 100);
        const Result<CellOffset> hole = changed.editor.Allocate(90);
        ASSERT_TRUE(hole);
        changed.editor.StoreBytes(*hole, 0, File(90, std::byte{0xCC}));
        changed.editor.CloseGap(*hole, 0, 4, 90);
        ASSERT_TRUE(changed.editor.Allocate(100'000)); // at the hive's end
    };
    {
        HiveEditor::Change change(changed.editor);
        changeAll();
    }
    EXPECT_EQ(changed.hive.Length(), length);
    EXPECT_EQ(read(u"a"), data);
    EXPECT_EQ(read(u"c"), data);
    EXPECT_EQ(Findings(changed.hive), "");
    {
        HiveEditor::Change change(changed.editor);
        changed.editor.CloseGap(cell, 10, 5, 100);
        change.Keep();
    }
    File expected(data.begin(), data.begin() + 10);
    expected.insert(expected.end(), data.begin() + 15, data.end());
    expected.resize(100);
    EXPECT_EQ(read(u"a"), expected);
}

} // namespace
} // namespace tolvar
