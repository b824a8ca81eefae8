#include <algorithm>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "platform_hive/changed_hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::ChangedHive;
using fixtures::HiveBuilder;
using fixtures::LeafKind;
using fixtures::Numbered;
using File = std::vector<std::byte>;

/// The place of a value, as the hive says.
std::optional<std::uint32_t> PlaceIn(const Hive& hive, CellOffset key, std::u16string name)
{
    name[0] = u'k'; // without regard to case
    const KeyNode node = *hive.Key(key);
    const auto placed = hive.FindPlacedValue(node, name).value();
    const auto record = hive.FindValue(node, name).value();
    EXPECT_EQ(placed.has_value(), record.has_value());
    return placed ? std::optional(placed->place) : std::nullopt;
}

TEST(ManyValues, AreFoundWhateverIsDoneToThem)
{
    std::mt19937 random(11);
    ChangedHive changed;
    CellOffset key = *changed.writer.CreateKey(changed.hive.Root(), u"k");
    std::vector<std::u16string> names;
    unsigned next = 0;
    for (int step = 0; step < 6000; ++step) {
        SCOPED_TRACE(step);
        const auto at = static_cast<std::uint32_t>(names.empty() ? 0 : random() % names.size());
        const auto place = names.begin() + at;
        const unsigned what = step < 300 ? 0 : random() % 64;
        if (what == 0 || what > 40) {
            names.push_back(Numbered(next++));
            ASSERT_TRUE(changed.writer.SetValue(key, names.back(), 4, {}));
        } else if (what == 1) { // to another cell and back
            key = *changed.writer.RenameKey(key, std::u16string(50 + step % 100, u'm'));
            key = *changed.writer.RenameKey(key, u"k");
        } else if (what == 2 && random() % 16 == 0) { // another key in the same cell
            ASSERT_TRUE(changed.writer.DeleteKey(key));
            key = *changed.writer.CreateKey(changed.hive.Root(), u"k");
            names.clear();
        } else if (what < 8) {
            const std::u16string name = Numbered(next++);
            ASSERT_TRUE(changed.writer.InsertValue(key, at, name, 4, {}));
            names.insert(place, name);
        } else if (what < 14 && !names.empty()) {
            const std::u16string name = Numbered(next++);
            ASSERT_TRUE(changed.writer.RenameValue(key, *place, name));
            *place = name;
        } else if (!names.empty()) {
            ASSERT_TRUE(changed.writer.DeleteValue(key, *place));
            names.erase(place);
        }
        EXPECT_EQ(PlaceIn(changed.hive, key, Numbered(next)), std::nullopt);
        if (!names.empty()) {
            const std::size_t wanted = random() % names.size();
            EXPECT_EQ(PlaceIn(changed.hive, key, names[wanted]), wanted);
        }
    }
    EXPECT_EQ(fixtures::Findings(changed.hive), "");
}

TEST(ManyValues, AreFoundBesideDamagedOnesAndTheFirstOfTwoCounts)
{
    BuiltKey root{.name = u"ROOT"};
    for (unsigned i = 0; i < 200; ++i) {
        root.values.push_back({Numbered(i), 4, fixtures::Bytes({i, 0, 0, 0})});
    }
    for (const bool isTwice : {false, true}) {
        if (isTwice) {
            root.values[150].name = Numbered(20);
        }
        File file = HiveBuilder().Build(root);
        const Hive whole = Hive::FromBytes(file, "whole").value();
        const ValueListView values = *whole.Values(*whole.Key(whole.Root()));
        file[values[100].FilePosition() + 4] = std::byte{0}; // no value any more
        const Hive hive = Hive::FromBytes(file, "test").value();
        for (int time = 0; time < 3; ++time) { // read, made into a table, looked up
            EXPECT_EQ(PlaceIn(hive, hive.Root(), Numbered(20)), 20U);
            EXPECT_EQ(PlaceIn(hive, hive.Root(), Numbered(199)), 199U);
            EXPECT_EQ(PlaceIn(hive, hive.Root(), Numbered(100)), std::nullopt);
        }
    }
}

TEST(ManyValues, AndSubkeysAreFoundByManyReadersAtOnce)
{
    BuiltKey root{.name = u"ROOT"};
    for (unsigned i = 0; i < 500; ++i) {
        root.values.push_back({Numbered(i), 4, {}});
        root.subkeys.push_back({.name = Numbered(i)});
    }
    const File file = HiveBuilder().Build(root);
    const Hive hive = Hive::FromBytes(file, "test").value();
    std::vector<std::thread> readers;
    std::atomic<unsigned> found = 0;
    for (unsigned reader = 0; reader < 4; ++reader) {
        readers.emplace_back([&] {
            const KeyNode key = *hive.Key(hive.Root());
            for (unsigned i = 0; i < 1000; ++i) {
                found += hive.FindValue(key, Numbered(i)).value().has_value() ? 1 : 0;
                found += hive.FindSubkey(key, Numbered(i)).value().IsNil() ? 0 : 1;
            }
        });
    }
    std::ranges::for_each(readers, &std::thread::join);
    EXPECT_EQ(found, 4U * 2U * 500U);
}

TEST(ManySubkeys, AreFoundAfterMissesInListsThatAreOutOfOrder)
{
    for (const LeafKind kind : {LeafKind::kOffsets, LeafKind::kHints, LeafKind::kHashes}) {
        for (const std::size_t limit : {std::size_t{7}, std::size_t{500}}) {
            BuiltKey root{.name = u"ROOT"};
            for (unsigned i = 0; i < 300; ++i) {
                root.subkeys.push_back({.name = Numbered(i)});
            }
            std::swap(root.subkeys[10], root.subkeys[290]);
            const File file = HiveBuilder(5, kind, limit).Build(root);
            const Hive hive = Hive::FromBytes(file, "test").value();
            const KeyNode key = *hive.Key(hive.Root());
            for (int time = 0; time < 3; ++time) {
                EXPECT_TRUE(hive.FindSubkey(key, Numbered(1000)).value().IsNil());
                EXPECT_FALSE(hive.FindSubkey(key, Numbered(10)).value().IsNil());
                EXPECT_FALSE(hive.FindSubkey(key, Numbered(290)).value().IsNil());
            }
        }
    }
}

TEST(ValueNameTable, HoldsWhatWasEnteredUntilItIsTakenOut)
{
    std::mt19937 random(3);
    ValueNameTable table(4);
    EXPECT_EQ(table.Slots(), 16U);
    EXPECT_EQ(ValueNameTable(100).Slots(), 256U);
    std::vector<std::pair<std::uint32_t, CellOffset>> entries;
    for (std::uint32_t step = 0; step < 4000; ++step) {
        if (entries.size() < 300 && random() % 2 == 0) {
            // Few hashes by their low bits, the last slots among them, so that runs meet and go round the end.
            entries.emplace_back((random() % 16 * 8 + 1) | static_cast<std::uint32_t>(random() << 20),
                                 CellOffset{8 * step});
            ASSERT_TRUE(table.Insert({entries.back().first, entries.back().second, step}));
            ASSERT_GE(table.Slots(), 2 * entries.size());
        } else if (!entries.empty()) {
            const std::size_t at = random() % entries.size();
            table.Remove(entries[at].first, entries[at].second);
            entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(at));
        }
        for (const auto& [hash, cell] : entries) {
            bool isFound = false;
            table.ForEach(hash, [&, wanted = cell](const ValueNameTable::Entry& entry) {
                isFound = entry.cell == wanted;
                return isFound;
            });
            ASSERT_TRUE(isFound) << step;
        }
    }
}

TEST(LookupCache, KnowsAKeyFromTheSecondLookupOnUntilItChangesOrGoes)
{
    BuiltKey root{.name = u"ROOT"};
    for (unsigned i = 0; i < LookupCache::kMany; ++i) {
        root.values.push_back({Numbered(i), 4, {}});
        root.subkeys.push_back({.name = Numbered(i)});
    }
    const File file = HiveBuilder().Build(root);
    const Hive hive = Hive::FromBytes(file, "test").value();
    const KeyNode node = *hive.Key(hive.Root());
    const ValueListView values = *hive.Values(node);
    ValueListView fewer = values;
    --fewer.count;
    LookupCache cache;
    const auto find = [&](const ValueListView& list, unsigned number) {
        return cache.FindValue(hive, node.offset, list, Numbered(number));
    };
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(find(values, 5));
        EXPECT_EQ(find(values, 5)->cell, values[5]);
        EXPECT_EQ(find(values, 63)->place, 63U);
        EXPECT_TRUE(find(values, 64)->cell.IsNil());
        EXPECT_FALSE(find(fewer, 5)) << "another list";
        EXPECT_TRUE(find(fewer, 63)->cell.IsNil());
        EXPECT_FALSE(cache.IsMissFinal(hive, node));
        EXPECT_FALSE(cache.IsKnownInOrder(node.offset));
        EXPECT_TRUE(cache.IsMissFinal(hive, node));
        EXPECT_TRUE(cache.IsKnownInOrder(node.offset));
        cache.Forget(node.offset);
    }
    cache.NoteInOrder(node.offset);
    KeyNode elsewhere = node;
    elsewhere.subkeyList = CellOffset{8};
    EXPECT_TRUE(cache.IsMissFinal(hive, elsewhere));
    cache.ForgetAll();
    EXPECT_FALSE(cache.IsKnownInOrder(node.offset));
    EXPECT_FALSE(find(values, 5));
}

TEST(ValueNameTable, GivesUpWhereHashesWereMadeToMeet)
{
    ValueNameTable equal(1000);
    ValueNameTable near(1000);
    std::uint32_t taken = 0;
    for (std::uint32_t i = 0; equal.Insert({7, CellOffset{8 * i}, i}); ++i) {
        taken = i + 1;
    }
    EXPECT_EQ(taken, 4U);
    for (std::uint32_t i = 0; i < 256; ++i) {
        ASSERT_TRUE(near.Insert({i << 16 | 7, CellOffset{8 * i}, i}));
    }
    EXPECT_FALSE(near.Insert({7, CellOffset{8}, 0}));
}

} // namespace
} // namespace tolvar
