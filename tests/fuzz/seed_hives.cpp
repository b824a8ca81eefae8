#include "fuzz/seed_hives.h"

#include <string_view>
#include <utility>

#include "fixtures/hive_builder.h"

namespace tolvar::fuzz {

namespace {

using fixtures::BuiltKey;
using fixtures::BuiltValue;
using fixtures::HiveBuilder;
using fixtures::LeafKind;

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::size_t kSegment = 16344; // bytes of a big data segment

/// How the writers of one version list subkeys.
struct Edition {
    const char* name;
    std::uint32_t minor;
    LeafKind leaf;
};

std::u16string Numbered(std::u16string_view stem, unsigned number)
{
    const std::string digits = std::to_string(100 + number);
    return std::u16string(stem) + std::u16string(digits.begin(), digits.end());
}

std::vector<std::byte> Pattern(std::size_t size)
{
    std::vector<std::byte> data(size);
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<std::byte>(i * 11 + size);
    }
    return data;
}

BuiltKey Flat(unsigned subkeys)
{
    BuiltKey root{.name = u"ROOT"};
    for (unsigned i = 0; i < subkeys; ++i) {
        root.subkeys.push_back({.name = Numbered(u"KEY", i)});
    }
    return root;
}

BuiltKey Deep(unsigned levels)
{
    BuiltKey top{.name = Numbered(u"LEVEL", levels), .values = {{u"depth", 4, Pattern(4)}}};
    while (levels-- > 0) {
        BuiltKey above{.name = Numbered(u"LEVEL", levels)};
        above.subkeys.push_back(std::move(top));
        top = std::move(above);
    }
    return top;
}

BuiltKey WithValues()
{
    BuiltKey root{.name = u"ROOT", .className = u"Klass"};
    for (const std::size_t size : {0U, 1U, 3U, 4U, 5U, 8U, 64U, 300U}) {
        root.values.push_back({Numbered(u"bytes", static_cast<unsigned>(size)), 3, Pattern(size)});
    }
    root.values.push_back({u"", 1, fixtures::TextData(u"default")});
    root.values.push_back({u"\x416\x43D\x44F", 2, fixtures::TextData(u"%PATH%")});
    root.values.push_back({u"\xD81D", 7, fixtures::TextData(u"one\0two\0"sv)});
    root.values.push_back({u"\xE4\xFF", 0x12345678, Pattern(12)});
    return root;
}

BuiltKey Mixed()
{
    BuiltKey root = WithValues();
    for (unsigned i = 0; i < 5; ++i) {
        BuiltKey branch{.name = Numbered(u"BRANCH", i), .className = i % 2 == 0 ? u"" : u"Odd"};
        for (unsigned j = 0; j < 3; ++j) {
            branch.subkeys.push_back({.name = Numbered(u"TWIG", j), .values = {{u"v", 4, Pattern(4)}}});
        }
        root.subkeys.push_back(std::move(branch));
    }
    root.subkeys.push_back({.name = u"\x41F\x420", .values = {{u"text", 1, fixtures::TextData(u"deep")}}});
    return root;
}

void Count(const BuiltKey& key, SeedHive& seed)
{
    ++seed.keys;
    seed.values += key.values.size();
    for (const BuiltValue& value : key.values) {
        seed.dataBytes += value.data.size();
    }
    for (const BuiltKey& subkey : key.subkeys) {
        Count(subkey, seed);
    }
}

SeedHive Seed(std::string name, HiveBuilder builder, const BuiltKey& root)
{
    SeedHive seed{.name = std::move(name), .file = builder.Build(root)};
    Count(root, seed);
    return seed;
}

} // namespace

std::vector<SeedHive> MakeSeedHives()
{
    std::vector<SeedHive> seeds;
    seeds.push_back(Seed("root_alone", HiveBuilder(3), {.name = u"ROOT"}));
    for (const Edition& e : {Edition{"offsets", 2, LeafKind::kOffsets}, Edition{"hints", 3, LeafKind::kHints},
                             Edition{"hashes", 5, LeafKind::kHashes}, Edition{"newest", 6, LeafKind::kHashes}}) {
        seeds.push_back(Seed(e.name + "_leaf"s, HiveBuilder(e.minor, e.leaf), Flat(6)));
        seeds.push_back(Seed(e.name + "_index"s, HiveBuilder(e.minor, e.leaf, 3), Flat(8)));
        seeds.push_back(Seed(e.name + "_mixed"s, HiveBuilder(e.minor, e.leaf, 2), Mixed()));
    }
    seeds.push_back(Seed("deep", HiveBuilder(5), Deep(18)));
    seeds.push_back(Seed("values", HiveBuilder(5), WithValues()));
    const BuiltKey large{.name = u"ROOT", .values = {{u"large", 3, Pattern(kSegment + 9)}, {u"small", 3, Pattern(9)}}};
    seeds.push_back(Seed("large_flat", HiveBuilder(3), large));
    seeds.push_back(Seed("large_segments", HiveBuilder(4), large));
    const BuiltKey edge{.name = u"ROOT", .values = {{u"edge", 3, Pattern(kSegment)}}};
    seeds.push_back(Seed("large_edge", HiveBuilder(5), edge));
    return seeds;
}

} // namespace tolvar::fuzz
