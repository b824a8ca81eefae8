#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "platform/hive/bin_header.h"
#include "platform/hive/hive_validator.h"
#include "platform_hive/raw_hive.h"
#include "platform_hive/walk_counter.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;
using fixtures::WalkCounter;
using File = std::vector<std::byte>;

BuiltKey SampleRoot()
{
    File text(24, std::byte{1});
    const std::uint32_t cellSize = 0U - 16U; // at a place where a cell could begin
    std::memcpy(text.data() + 4, &cellSize, sizeof cellSize);
    return {.name = u"ROOT",
            .values = {{u"big", 3, File(40000, std::byte{1})}, {u"text", 1, text}},
            .subkeys = {{.name = u"a", .className = u"class"}, {.name = u"b"}, {.name = u"c"}}};
}

TEST(HiveValidator, FindsNothingInAGoodHiveOfAnyVersion)
{
    for (const auto kind : {fixtures::LeafKind::kOffsets, fixtures::LeafKind::kHints, fixtures::LeafKind::kHashes}) {
        for (const std::uint32_t minor : {3U, 5U}) {
            if (kind == fixtures::LeafKind::kHashes && minor == 3) {
                continue;
            }
            const File file = HiveBuilder(minor, kind).Build(SampleRoot());
            std::vector<std::string> findings;
            const ValidationSummary summary =
                ValidateHive(Hive::FromBytes(file, "test").value(),
                             [&](const Finding& finding) { findings.push_back(finding.meaning); });
            EXPECT_THAT(findings, testing::IsEmpty());
            EXPECT_EQ(summary.keys, 4U);
            EXPECT_EQ(summary.values, 2U);
            EXPECT_EQ(summary.dataBytes, 40024U);
            EXPECT_EQ(summary.securityRecords, 1U);
            EXPECT_EQ(summary.bins, (file.size() - 4096) / 4096 - 9) << "the large value has bins of several pages";
        }
    }
}

/// The places that the damages below write to.
struct Sample {
    explicit Sample(std::size_t leafLimit)
        : file(HiveBuilder(5, fixtures::LeafKind::kHashes, leafLimit).Build(SampleRoot())),
          hive(Hive::FromBytes(file, "sample").value()), root(*hive.Key(hive.Root()))
    {
        const ValueListView values = *hive.Values(root);
        big = *hive.Value(values[0]);
        text = *hive.Value(values[1]);
        a = *hive.Key(*hive.FindSubkey(root, u"a"));
        b = *hive.Key(*hive.FindSubkey(root, u"b"));
        const CellView list = *hive.Cell(root.subkeyList);
        firstListed = list.Offset(list_fields::Offset(0, kPlainElement));
        for (std::uint32_t at = 32; at < hive.Length(); at += 8) {
            free = LoadLittle<std::int32_t>(hive.Bins().data() + at) == static_cast<std::int32_t>(4096 - at % 4096)
                       ? CellOffset{at}
                       : free;
        }
    }

    File file;
    Hive hive;
    KeyNode root;
    KeyNode a;
    KeyNode b;
    ValueRecord big;
    ValueRecord text;
    CellOffset firstListed; ///< the first leaf, where the list is an index
    CellOffset free;        ///< the last free cell
};

/// One change to the sample, what it does to a reader, and what the validator says.
struct Damage {
    const char* what;
    std::uint64_t at; ///< in the file
    std::size_t bytes;
    std::uint32_t value;
    Breach breach;
    std::uint64_t reported; ///< where in the file
    int keys = 4;           ///< that are left to a reader
    int values = 2;
};

std::uint64_t Payload(CellOffset cell, std::uint32_t field)
{
    return cell.FilePosition() + kCellHeader + field;
}

std::vector<Damage> DamagesOf(const Sample& s)
{
    const auto in = [](CellOffset cell, auto field) { return Payload(cell, field.at); };
    const std::uint64_t root = s.root.offset.FilePosition();
    const std::uint64_t b = s.b.offset.FilePosition();
    const std::uint64_t list = s.root.subkeyList.FilePosition();
    const std::uint64_t values = s.root.valueList.FilePosition();
    const std::uint64_t text = s.text.offset.FilePosition();
    const std::uint64_t security = s.root.security.FilePosition();
    const std::uint32_t freeSize = 4096 - s.free.value % 4096;
    return {
        {"value outside", in(s.root.valueList, OffsetAt(1)), 4, 0x7FFFFFF8, Breach::kOffsetOutside, 0x80000FF8, 4, 1},
        {"between cells", in(s.root.valueList, OffsetAt(1)), 4, 36, Breach::kOffsetOutside, 4096 + 36, 4, 1},
        {"past the last", in(s.root.valueList, OffsetAt(1)), 4, s.hive.Length(), Breach::kOffsetOutside,
         4096 + s.hive.Length(), 4, 1},
        {"free", text, 4, 32, Breach::kCellFree, text, 4, 1},
        {"no size", text, 4, 0, Breach::kCellSize, text, 4, 1},
        {"odd size", text, 4, 0U - 36U, Breach::kCellSize, text, 4, 1},
        {"size beyond", text, 4, 0U - 0x100000U, Breach::kCellSize, text, 4, 1},
        {"small", in(s.root.valueList, OffsetAt(1)), 4, s.root.valueList.value, Breach::kCellTooSmall, values, 4, 1},
        {"no key", in(s.b.offset, key_fields::kSignature), 2, 0x4141, Breach::kKeySignature, b, 3},
        {"no name", in(s.b.offset, key_fields::kNameLength), 2, 0, Breach::kKeyNameLength, b, 3},
        {"long name", in(s.b.offset, key_fields::kNameLength), 2, 9, Breach::kKeyNameLength, b, 3},
        {"volatile", in(s.b.offset, key_fields::kFlags), 2, 0x21, Breach::kKeyFlags, b},
        {"mount point", in(s.b.offset, key_fields::kFlags), 2, 0x22, Breach::kKeyFlags, b},
        {"root of none", in(s.root.offset, key_fields::kFlags), 2, 0x28, Breach::kKeyFlags, root},
        {"root that can go", in(s.root.offset, key_fields::kFlags), 2, 0x24, Breach::kKeyFlags, root},
        {"another root", in(s.b.offset, key_fields::kFlags), 2, 0x24, Breach::kKeyFlags, b},
        {"volatile subkeys", in(s.b.offset, key_fields::kVolatileCount), 4, 1, Breach::kKeyVolatile, b},
        {"volatile list", in(s.b.offset, key_fields::kVolatileList), 4, 0x80000020, Breach::kKeyVolatile, b},
        {"parent", in(s.b.offset, key_fields::kParent), 4, 0x28, Breach::kKeyParent, b},
        {"backslash", Payload(s.b.offset, key_fields::kName), 1, '\\', Breach::kKeyNameCharacter, b},
        {"data maximum", in(s.root.offset, key_fields::kMaxValueData), 4, 39999, Breach::kKeyMaxima, root},
        {"value name maximum", in(s.root.offset, key_fields::kMaxValueName), 4, 7, Breach::kKeyMaxima, root},
        {"name maximum", in(s.root.offset, key_fields::kMaxName), 2, 1, Breach::kKeyMaxima, root},
        {"class maximum", in(s.root.offset, key_fields::kMaxClass), 4, 9, Breach::kKeyMaxima, root},
        {"no list", in(s.root.subkeyList, list_fields::kSignature), 2, 0x4141, Breach::kListSignature, list, 1},
        {"list count", in(s.root.subkeyList, list_fields::kCount), 2, 4, Breach::kListCount, list, 1},
        {"total", in(s.root.offset, key_fields::kSubkeyCount), 4, 7, Breach::kListTotal, root},
        {"order", Payload(s.b.offset, key_fields::kName), 1, 'd', Breach::kListOrder,
         Hive::FromBytes(s.file, "").value().FindSubkey(s.root, u"c")->FilePosition()},
        {"equal", Payload(s.b.offset, key_fields::kName), 1, 'A', Breach::kListOrder, b},
        {"hash", in(s.root.subkeyList, list_fields::Tag(1)), 4, 1, Breach::kListHash, list},
        {"hashes too early", base_fields::kMinor.at, 4, 4, Breach::kListVersion, list},
        {"value count", in(s.root.offset, key_fields::kValueCount), 4, 4, Breach::kValueListSize, values, 4, 0},
        {"no value", in(s.text.offset, value_fields::kSignature), 2, 0x4141, Breach::kValueSignature, text, 4, 1},
        {"value name", in(s.text.offset, value_fields::kNameLength), 2, 9, Breach::kValueNameLength, text, 4, 1},
        {"inline", in(s.text.offset, value_fields::kDataLength), 4, 0x80000005, Breach::kValueInline, text, 4, 1},
        {"value flags", in(s.text.offset, value_fields::kFlags), 2, 4, Breach::kValueFlags, text},
        {"padding", in(s.text.offset, value_fields::kDataLength), 4, 0x80000001, Breach::kValuePadding, text},
        {"cell for no data", in(s.text.offset, value_fields::kDataLength), 4, 0, Breach::kValueEmpty, text},
        {"data size", in(s.text.offset, value_fields::kDataLength), 4, 29, Breach::kValueDataSize,
         s.text.dataCell.FilePosition(), 4, 1},
        {"segments", in(s.big.dataCell, big_data_fields::kCount), 2, 2, Breach::kBigDataCount,
         s.big.dataCell.FilePosition(), 4, 1},
        {"big data too early", base_fields::kMinor.at, 4, 3, Breach::kDataVersion, s.big.dataCell.FilePosition(), 4, 1},
        {"no class", in(s.a.offset, key_fields::kClass), 4, CellOffset::kNil, Breach::kClassMissing,
         s.a.offset.FilePosition()},
        {"class at 0", in(s.a.offset, key_fields::kClass), 4, 0, Breach::kClassMissing, s.a.offset.FilePosition()},
        {"class of no length", in(s.a.offset, key_fields::kClassLength), 2, 0, Breach::kClassLeftOver,
         s.a.offset.FilePosition()},
        {"class", in(s.a.offset, key_fields::kClassLength), 2, 14, Breach::kClassLength, s.a.classCell.FilePosition()},
        {"no security", in(s.b.offset, key_fields::kSecurity), 4, CellOffset::kNil, Breach::kSecurityMissing, b},
        {"no descriptor", in(s.root.security, security_fields::kSignature), 2, 0, Breach::kSecuritySignature, security},
        {"descriptor", in(s.root.security, security_fields::kLength), 4, 81, Breach::kSecurityLength, security},
        {"strange descriptor", Payload(s.root.security, security_fields::kDescriptor), 1, 2,
         Breach::kSecurityDescriptor, security},
        {"entry of a list", Payload(s.root.security, security_fields::kDescriptor + 30), 2, 0xFFFC,
         Breach::kSecurityDescriptor, security},
        {"ring", in(s.root.security, security_fields::kNext), 4, 0x20, Breach::kSecurityRing, 4096 + 0x20},
        {"ring back", in(s.root.security, security_fields::kPrevious), 4, 0x20, Breach::kSecurityRing, security},
        {"references", in(s.root.security, security_fields::kReferences), 4, 5, Breach::kSecurityCount, security},
        {"list twice", in(s.root.offset, key_fields::kValueList), 4, s.root.subkeyList.value, Breach::kShared, list, 4,
         0},
        {"below itself", in(s.root.subkeyList, list_fields::Offset(1, kTaggedElement)), 4, s.root.offset.value,
         Breach::kShared, root, 3},
        {"no bin", 4096, 4, 0, Breach::kBinSignature, 4096},
        {"another bin", 4096 + 4, 4, 4096, Breach::kBinOffset, 4096},
        {"bin of no size", 4096 + 8, 4, 0, Breach::kBinSize, 4096},
        {"odd bin", 4096 + 8, 4, 4104, Breach::kBinSize, 4096},
        {"bin too large", 4096 + 8, 4, s.hive.Length() + 4096, Breach::kBinSize, 4096},
        {"middle of a cell", in(s.a.offset, key_fields::kClass), 4, s.text.dataCell.value + 8, Breach::kCellNotStart,
         s.text.dataCell.FilePosition() + 8},
        {"free neighbours", s.free.FilePosition(), 4, 8, Breach::kFreeNeighbours, s.free.FilePosition() + 8},
        {"unreferenced", in(s.root.offset, key_fields::kValueCount), 4, 0, Breach::kUnreferenced, values, 4, 0},
        {"free at the end", s.free.FilePosition(), 4, freeSize + 8, Breach::kCellSize, s.free.FilePosition()},
        {"cluster", base_fields::kCluster.at, 4, 8, Breach::kBaseBlock, base_fields::kCluster.at},
        {"not closed", base_fields::kSequence1.at, 4, 2, Breach::kBaseBlock, 4},
    };
}

/// Breaches that a changed field of the sample can't bring about, and which test does.
const std::map<Breach, const char*> kElsewhere = {
    {Breach::kNone, "is no breach"},
    {Breach::kMediumFailed, "HiveThatIsCutShort.AnswersWhatItHeldOrAFault"},
    {Breach::kListNested, "HiveValidator.NamesWhatNoFieldAloneBreaks"},
    {Breach::kDepth, "HiveValidator.NamesWhatNoFieldAloneBreaks"},
    {Breach::kFileShort, "HiveValidator.NamesWhatNoFieldAloneBreaks"},
};

std::vector<Finding> FindingsOf(const Hive& hive)
{
    std::vector<Finding> findings;
    const ValidationSummary summary = ValidateHive(hive, [&](const Finding& finding) { findings.push_back(finding); });
    EXPECT_EQ(summary.errors + summary.warnings, findings.size());
    return findings;
}

auto Names(Breach breach, std::uint64_t at)
{
    return testing::Contains(
        testing::AllOf(testing::Field(&Finding::breach, breach), testing::Field(&Finding::filePosition, at),
                       testing::Field(&Finding::meaning, testing::StartsWith(BreachMeaning(breach)))));
}

TEST(HiveValidator, NamesEveryBreachWithItsPlaceAndLosesNoMoreThanIsBroken)
{
    const Sample sample(507);
    std::map<Breach, const char*> named = kElsewhere;
    for (const Damage& damage : DamagesOf(sample)) {
        SCOPED_TRACE(damage.what);
        File file = sample.file;
        std::memcpy(file.data() + damage.at, &damage.value, damage.bytes);
        if (damage.breach == Breach::kFreeNeighbours) {
            const std::uint32_t rest = 4096 - sample.free.value % 4096 - 8;
            std::memcpy(file.data() + damage.at + 8, &rest, sizeof rest);
        }
        HiveBuilder::FixChecksum(file);
        const Hive hive = Hive::FromBytes(file, "test").value();
        EXPECT_THAT(FindingsOf(hive), Names(damage.breach, damage.reported));
        const WalkCounter counter = WalkCounter::Walk(hive);
        EXPECT_EQ(counter.keys, damage.keys);
        EXPECT_EQ(counter.values, damage.values);
        named.emplace(damage.breach, damage.what);
    }
    for (unsigned i = 0; BreachMeaning(static_cast<Breach>(i)) != "unknown breach"; ++i) {
        EXPECT_TRUE(named.contains(static_cast<Breach>(i))) << BreachMeaning(static_cast<Breach>(i));
    }
}

TEST(HiveValidator, NamesWhatNoFieldAloneBreaks)
{
    const Sample indexed(2);
    File nested = indexed.file;
    std::memcpy(nested.data() + Payload(indexed.firstListed, 0), "ri", 2);
    const Hive withNested = Hive::FromBytes(nested, "nested").value();
    EXPECT_THAT(FindingsOf(withNested), Names(Breach::kListNested, indexed.firstListed.FilePosition()));
    EXPECT_EQ(WalkCounter::Walk(withNested).keys, 2); // the root and what the other leaf lists

    for (const unsigned levels : {512U, 513U}) {
        fixtures::RawHive raw;
        std::uint32_t key = raw.AddKey({});
        const std::uint32_t deepest = key;
        for (unsigned i = 1; i < levels; ++i) {
            key = raw.AddKey({.subkeys = 1, .subkeyList = raw.AddList("li", std::vector{key})});
        }
        const File file = raw.Finish(key);
        const Hive deep = Hive::FromBytes(file, "deep").value();
        const auto isNamed = Names(Breach::kDepth, CellOffset{deepest}.FilePosition());
        EXPECT_EQ(testing::Value(FindingsOf(deep), isNamed), levels == 513);
        EXPECT_EQ(WalkCounter::Walk(deep).keys, 512);
    }

    File hints = HiveBuilder(3, fixtures::LeafKind::kHints).Build(SampleRoot());
    const auto findsAs = [&hints](std::uint32_t minor, Breach breach, CellOffset at) {
        std::memcpy(hints.data() + base_fields::kMinor.at, &minor, sizeof minor);
        HiveBuilder::FixChecksum(hints);
        EXPECT_THAT(FindingsOf(Hive::FromBytes(hints, "of another version").value()), Names(breach, at.FilePosition()));
    };
    const Hive early = Hive::FromBytes(hints, "early").value();
    const KeyNode earlyRoot = early.Key(early.Root()).value();
    findsAs(2, Breach::kListVersion, earlyRoot.subkeyList);
    findsAs(4, Breach::kDataVersion, early.FindValue(earlyRoot, u"big").value()->dataCell); // one cell

    File cut = indexed.file;
    cut.resize(cut.size() - 4096);
    EXPECT_THAT(FindingsOf(Hive::FromBytes(cut, "cut").value()), Names(Breach::kFileShort, cut.size()));
}

} // namespace
} // namespace tolvar
