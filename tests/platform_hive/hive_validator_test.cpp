#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "platform/hive/hive_validator.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;
using File = std::vector<std::byte>;

std::vector<Breach> BreachesOf(const File& file)
{
    std::vector<Breach> breaches;
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    EXPECT_TRUE(hive);
    static_cast<void>(ValidateHive(*hive, [&](const Finding& finding) { breaches.push_back(finding.breach); }));
    return breaches;
}

const BuiltKey kRoot{.name = u"ROOT",
                     .values = {{u"big", 3, File(40000, std::byte{1})}, {u"text", 1, fixtures::TextData(u"text")}},
                     .subkeys = {{.name = u"a", .className = u"class"}, {.name = u"b"}, {.name = u"c"}}};

TEST(HiveValidator, FindsNothingInAGoodHiveOfAnyVersion)
{
    for (const auto kind : {fixtures::LeafKind::kOffsets, fixtures::LeafKind::kHints, fixtures::LeafKind::kHashes}) {
        for (const std::uint32_t minor : {3U, 5U}) {
            EXPECT_THAT(BreachesOf(HiveBuilder(minor, kind).Build(kRoot)), testing::IsEmpty());
        }
    }
}

TEST(HiveValidator, NamesEveryBreach)
{
    const File good = HiveBuilder().Build(kRoot);
    const Result<Hive> hive = Hive::FromBytes(good, "test");
    const KeyNode root = *hive->Key(hive->Root());
    const KeyNode b = *hive->Key(*hive->FindSubkey(root, u"b"));
    const std::size_t bAt = b.offset.FilePosition() + 4;
    const std::size_t rootAt = root.offset.FilePosition() + 4;
    const std::size_t listAt = root.subkeyList.FilePosition() + 4;
    const std::size_t securityAt = root.security.FilePosition() + 4;
    const std::size_t valuesAt = root.valueList.FilePosition() + 4;
    struct Case {
        const char* what;
        std::size_t at;
        std::uint32_t value;
        Breach breach;
    };
    for (const Case& c : {
             Case{"parent", bAt + 16, 0x20 + 8, Breach::kKeyParent},
             Case{"order", bAt + 76, 'z' | 0x100, Breach::kListOrder},
             Case{"hash", listAt + 8, 1, Breach::kListHash},
             Case{"total", rootAt + 20, 7, Breach::kListTotal},
             Case{"security count", securityAt + 12, 9, Breach::kSecurityCount},
             Case{"security ring", securityAt + 4, 0x20, Breach::kSecurityRing},
             Case{"no security", bAt + 44, 0xFFFFFFFF, Breach::kSecurityMissing},
             Case{"maxima", rootAt + 64, 3, Breach::kKeyMaxima},
             Case{"lost list", rootAt + 36, 0, Breach::kUnreferenced},
             Case{"value outside", valuesAt, 0x7FFFFFF8, Breach::kOffsetOutside},
             Case{"list twice", rootAt + 40, root.subkeyList.value, Breach::kShared},
             Case{"bin", 4096 + 4, 0x1000, Breach::kBinOffset},
         }) {
        SCOPED_TRACE(c.what);
        File file = good;
        std::memcpy(file.data() + c.at, &c.value, 4);
        EXPECT_THAT(BreachesOf(file), testing::Contains(c.breach));
    }
}

} // namespace
} // namespace tolvar
