#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hex_bytes.h"
#include "hexctrl/hex_find.h"

namespace tolvar {
namespace {

using namespace std::string_literals;

ByteStore Store(const std::string& text)
{
    ByteStore store(4); // hits lie across chunks
    store.Assign(BytesOf(text));
    return store;
}

/// All hits of a search, as its receiver gets them.
std::vector<std::int64_t> Hits(const std::string& text, HexFindBlock block, const std::string& pattern,
                               std::int64_t base = 0)
{
    const ByteStore store = Store(text);
    const Bytes bytes = BytesOf(pattern);
    block.pattern = bytes.data();
    block.length = static_cast<std::uint32_t>(bytes.size());
    HexSearch search;
    search.Start(block, base);
    std::vector<std::int64_t> hits;
    while (search.Next(store, {})) {
        hits.push_back(search.Position());
    }
    return hits;
}

HexFindBlock Range(std::int64_t from, std::int64_t to, std::uint32_t mode)
{
    HexFindBlock block;
    block.from = from;
    block.to = to;
    block.mode = mode;
    return block;
}

TEST(HexFind, FindsEveryHitOfItsRangeInItsMode)
{
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    struct Case {
        std::string text, pattern;
        std::int64_t from, to;
        std::uint32_t mode;
        std::int64_t base;
        std::vector<std::int64_t> hits;
    };
    const Case cases[] = {
        {"abcabcab", "ab", 0, 8, 1, 0, {0, 3, 6}}, // also at the first and the last position
        {"aaaa", "aa", 0, 4, 1, 0, {0, 1, 2}},     // overlapping
        {"abcabcab", "ab", 1, 7, 1, 0, {3}},       // wholly inside the range
        {"abcabcab", "ab", 3, 8, 3, 0, {3, 6}},    // bit 0 rules
        {"abcabcab", "ab", 0, 8, 4, 0, {}},        // no such mode
        {"abcabcab", "", 0, 8, 1, 0, {}},
        {"ab", "abc", 0, 8, 1, 0, {}},
        {"aBcAbcab", "Ab", 0, 8, 1, 0, {3}},
        {"aBcAb[aB{", "ab", 0, 9, 2, 0, {0, 3, 6}},
        {"x[{", "[", 0, 3, 2, 0, {1}},                     // only letters have a case
        {"ab\0cab\0d"s, "AB\0x"s, 0, 8, 2, 0, {0, 4}},     // text ends at its NUL
        {"xa\0b\0A\0B\0"s, "a\0B\0"s, 0, 9, 6, 0, {1, 5}}, // at odd offsets too
        {"a\0b\1a\0b\0"s, "A\0B\0"s, 0, 8, 6, 0, {4}},     // another letter with the same low byte
        {"abcabcab", "ab", 0x1003, 0x1008, 1, 0x1000, {0x1003, 0x1006}},
        {"abcabcab", "ab", 0xFFE, 0x1003, 1, 0x1000, {0x1000, 0x1003}}, // starts at the base, and keeps its length
        {"abcabcab", "ab", 0xFFE, 0x1004, 1, 0x1000, {0x1000, 0x1003}}, // up to the byte at 0x1005
        {"abcabcab", "ab", 0xFFE, 0x1000, 1, 0x1000, {0x1000}},
        {"abcabcab", "ab", 0xFFE, 0xFFE, 1, 0x1000, {}},
        {"abcabcab", "ab", 0x1000, 0x1000, 1, 0x1000, {}},
        {"abcabcab", "ab", 0x1003, 0x1004, 1, 0x1000, {}},
        {"abcabcab", "ab", 0, 100, 1, 0, {0, 3, 6}},
        {"AZaz@[`{", "az", 0, 8, 2, 0, {0, 2}}, // the first and the last letter
        {"AZaz@[`{", "@[", 0, 8, 2, 0, {4}},
        {"AZaz@[`{", "`{", 0, 8, 2, 0, {6}},
        {"ab\0ab\0"s, "AB\0ab"s, 0, 6, 2, 0, {0}}, // but the whole length has to fit into the range
        {"a\0b\0"s, "A\0B\0\0"s, 0, 4, 6, 0, {}},
        {"a\0b\0c"s, "A\0B\0\0"s, 0, 5, 6, 0, {0}}, // half a character is none
        {"ab\0"s, "AB\0xxxxx"s, 0, 3, 2, 0, {}},
        {"aaaaaaab", "AB", 0, 8, 2, 0, {6}},
        {"abcabcab", "ab", kLeast, kMost, 1, 0, {0, 3, 6}},
        {"abcabcab", "ab", 5, 2, 1, 0, {}},
        {"abcabcab", "ab", kMost, kMost, 1, 0, {}},
        {"abcabcab", "ab", 0, kMost, 1, kLeast, {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Hits(c.text, Range(c.from, c.to, c.mode), c.pattern, c.base), c.hits)
            << c.text << " / " << c.pattern << " from " << c.from << " mode " << c.mode;
    }
}

TEST(HexFind, ReportsEveryHundredPositionsAndStopsWhenTold)
{
    ByteStore store;
    const std::string text(1000, 'a');
    store.Assign(BytesOf(text));
    HexFindBlock block = Range(0, 1000, 1);
    const Bytes pattern = BytesOf("b");
    block.pattern = pattern.data();
    block.length = 1;
    HexSearch search;
    search.Start(block, 0);
    std::vector<unsigned> reports;
    EXPECT_FALSE(search.Next(store, [&](unsigned percent) { return reports.push_back(percent), false; }));
    EXPECT_EQ(reports, (std::vector<unsigned>{10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    reports.clear();
    search.Start(block, 0);
    EXPECT_FALSE(search.Next(store, [&](unsigned percent) { return reports.push_back(percent), percent == 30; }));
    EXPECT_EQ(reports.back(), 30U);
    // After a hit, and with a base, the percentage is still of the whole range.
    store.Write(520, BytesOf("b"));
    block.from = 0x1000 + 500;
    block.to = 0x1000 + 900;
    search.Start(block, 0x1000);
    EXPECT_TRUE(search.Next(store, {}));
    EXPECT_EQ(search.Position(), 0x1000 + 520);
    reports.clear();
    EXPECT_FALSE(search.Next(store, [&](unsigned percent) { return reports.push_back(percent), false; }));
    EXPECT_EQ(reports, (std::vector<unsigned>{30, 55, 80, 100}));
    EXPECT_FALSE(HexSearch().Next(store, {})) << "a search that wasn't started";
}

TEST(HexFind, LooksFromAnOffsetToAnEndAndBackFromOne)
{
    struct Case {
        const char *text, *pattern;
        std::uint64_t from, end;
        std::int64_t forward;
        std::uint64_t before;
        std::int64_t backward; ///< -1: none
    };
    for (const Case& c : {
             Case{"abcab", "ab", 0, 5, 0, 5, 3},
             Case{"abcab", "ab", 1, 5, 3, 4, 3},
             Case{"abcab", "ab", 3, 5, 3, 3, 0},
             Case{"abcab", "ab", 4, 5, -1, 1, 0},
             Case{"abcab", "ab", 1, 4, -1, 0, -1}, // a hit lies wholly before the end
             Case{"abcab", "ab", 5, 5, -1, 99, 3},
             Case{"abcab", "ab", 6, 5, -1, 2, 0},
             Case{"abcab", "ab", 1, 99, 3, 5, 3},
             Case{"abcab", "abcab", 0, 5, 0, 5, 0},
             Case{"abcab", "abcabc", 0, 9, -1, 9, -1},
             Case{"abcab", "", 0, 5, -1, 5, -1},
             Case{"aaaaa", "aa", 1, 5, 1, 3, 2},
             Case{"", "a", 0, 0, -1, 0, -1},
         }) {
        SCOPED_TRACE(testing::Message() << c.pattern << " from " << c.from << " before " << c.before);
        const auto number = [](std::optional<std::uint64_t> hit) { return hit ? static_cast<std::int64_t>(*hit) : -1; };
        const ByteStore store = Store(c.text);
        const HexPattern pattern = HexPattern::Exact(BytesOf(c.pattern));
        EXPECT_EQ(number(FindForward(store, pattern, c.from, c.end)), c.forward);
        EXPECT_EQ(number(FindBackward(store, pattern, c.before)), c.backward);
    }
}

/// A pattern that a block's end, or the end of a step between two reports, goes through.
TEST(HexFind, MissesNothingWhereBlocksMeet)
{
    constexpr std::uint64_t kBlock = std::uint64_t{256} * 1024;
    Bytes bytes(kBlock + 1000, '.');
    ByteStore store;
    for (const auto& [at, from] : {std::pair<std::uint64_t, std::uint64_t>{kBlock - 1, 0},
                                   {kBlock - 3, 0},
                                   {kBlock + 6, 7},
                                   {kBlock + 996, 997},
                                   {kHexFindStep - 2, 0}}) {
        SCOPED_TRACE(at);
        store.Assign(bytes);
        store.Write(at, BytesOf("hIt!"));
        const HexPattern text = HexPattern::ByMode(BytesOf("HiT!"), HexFindMode::kTextNoCase);
        EXPECT_EQ(FindForward(store, text, at - 5, at + 5), at);
        const HexPattern exact = HexPattern::Exact(BytesOf("hIt!"));
        EXPECT_EQ(FindForward(store, exact, from, store.Size()), at);
        EXPECT_EQ(FindForward(store, exact, at, at + 4), at);
        EXPECT_EQ(FindForward(store, exact, at - 5, at + 3), std::nullopt);
        EXPECT_EQ(FindForward(store, exact, at + 1, at + 10), std::nullopt);
        EXPECT_EQ(FindBackward(store, exact, store.Size()), at);
        EXPECT_EQ(FindBackward(store, exact, at + 1), at);
        EXPECT_EQ(FindBackward(store, exact, at), std::nullopt);
    }
    store.Assign(bytes);
    std::vector<std::uint64_t> reports;
    const auto note = [&](std::uint64_t done) { return reports.push_back(done), false; };
    EXPECT_EQ(FindForward(store, HexPattern::Exact(BytesOf("hIt!")), 7, store.Size(), note), std::nullopt);
    EXPECT_EQ(reports, (std::vector<std::uint64_t>{kHexFindStep, 2 * kHexFindStep, 3 * kHexFindStep, kBlock,
                                                   kBlock + 1000 - 7 - 3}));
}

/// Where every byte begins a near match, the search goes over to one whose time is bounded.
TEST(HexFind, FindsAmongManyNearMatches)
{
    for (const std::size_t size : {40U, 3000U}) {
        SCOPED_TRACE(size);
        ByteStore store;
        Bytes bytes(size, 'a');
        store.Assign(bytes);
        const HexPattern pattern = HexPattern::Exact(BytesOf("aaab"));
        EXPECT_EQ(FindForward(store, pattern, 0, size), std::nullopt);
        store.Write(size - 1, BytesOf("b"));
        EXPECT_EQ(FindForward(store, pattern, 0, size), size - 4);
        EXPECT_EQ(FindForward(store, HexPattern::Exact(BytesOf("aaba")), 0, size), std::nullopt);
        EXPECT_EQ(FindForward(store, HexPattern::Exact(BytesOf("aaaaaaaaaaaaaaaaaaaab")), 0, size), size - 21);
    }
}

TEST(HexFind, FindsTheSameForwardsAndBackwardsAsAPlainSearch)
{
    std::mt19937 random(4711);
    std::string text(5000, '.');
    for (char& letter : text) {
        letter = random() % 2 == 0 ? 'a' : 'b';
    }
    ByteStore store(100);
    store.Assign(BytesOf(text));
    const std::string needle = text.substr(2600, 6);
    std::vector<std::uint64_t> expected;
    for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
        expected.push_back(at);
    }
    const auto pattern = HexPattern::Exact(BytesOf(needle));
    std::vector<std::uint64_t> forwards;
    for (auto hit = FindForward(store, pattern, 0, store.Size()); hit;
         hit = FindForward(store, pattern, *hit + 1, store.Size())) {
        forwards.push_back(*hit);
    }
    EXPECT_EQ(forwards, expected);
    std::vector<std::uint64_t> backwards;
    for (auto hit = FindBackward(store, pattern, store.Size()); hit; hit = FindBackward(store, pattern, *hit)) {
        backwards.insert(backwards.begin(), *hit);
    }
    EXPECT_EQ(backwards, expected);
}

} // namespace
} // namespace tolvar
