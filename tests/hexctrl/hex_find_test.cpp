#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hexctrl/hex_find.h"

namespace tolvar {
namespace {

using namespace std::string_literals;

std::span<const std::uint8_t> View(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

ByteStore Store(const std::string& text)
{
    ByteStore store(4); // hits lie across chunks
    store.Assign(View(text));
    return store;
}

/// All hits of a search, as its receiver gets them.
std::vector<std::int64_t> Hits(const std::string& text, HexFindBlock block, const std::string& pattern,
                               std::int64_t base = 0)
{
    const ByteStore store = Store(text);
    block.pattern = View(pattern).data();
    block.length = static_cast<std::uint32_t>(pattern.size());
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
    store.Assign(View(text));
    HexFindBlock block = Range(0, 1000, 1);
    const std::string pattern = "b";
    block.pattern = View(pattern).data();
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
}

TEST(HexFind, FindsTheSameForwardsAndBackwardsAcrossBlocks)
{
    std::mt19937 random(4711);
    std::string text(700'000, '.');
    for (char& letter : text) {
        letter = static_cast<char>('a' + random() % 2);
    }
    ByteStore store(1000);
    store.Assign(View(text));
    const auto pattern = HexPattern::Exact(View(text.substr(262'140, 16))); // across the seam of two blocks
    std::vector<std::uint64_t> forwards;
    for (auto hit = FindForward(store, pattern, 0, store.Size()); hit;
         hit = FindForward(store, pattern, *hit + 1, store.Size())) {
        forwards.push_back(*hit);
    }
    std::vector<std::uint64_t> backwards;
    for (auto hit = FindBackward(store, pattern, store.Size()); hit; hit = FindBackward(store, pattern, *hit)) {
        backwards.insert(backwards.begin(), *hit);
    }
    EXPECT_TRUE(std::ranges::find(forwards, 262'140U) != forwards.end());
    EXPECT_EQ(forwards, backwards);
    std::vector<std::uint64_t> expected;
    const std::string_view needle(text.data() + 262'140, 16);
    for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
        expected.push_back(at);
    }
    EXPECT_EQ(forwards, expected);
}

} // namespace
} // namespace tolvar
