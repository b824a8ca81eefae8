#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/power_cut_store.h"
#include "journal/expiry.h"
#include "journal/index_file.h"
#include "journal/journal_record.h"
#include "journal/pending_log.h"

namespace tolvar {
namespace {

using testing::ElementsAre;

std::vector<std::byte> Joined(std::initializer_list<std::vector<std::byte>> parts)
{
    std::vector<std::byte> all;
    for (const std::vector<std::byte>& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

TEST(JournalIndex, IsFourListsWithLengthsThatGrowWithTheirTexts)
{
    using fixtures::Bytes;
    EXPECT_EQ(EncodeIndex({}), Bytes({0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(EncodeIndex({{"b"}, {"", "cd"}, {}}), Bytes({1, 0, 1, 'b', 2, 0, 0, 2, 'c', 'd', 0, 0, 0, 0}));
    struct Case {
        std::size_t size;
        std::vector<std::byte> length;
    };
    for (const Case& c : {
             Case{254, Bytes({254})},
             Case{255, Bytes({255, 255, 0})},
             Case{0xFFFD, Bytes({255, 0xFD, 0xFF})},
             Case{0xFFFE, Bytes({255, 0xFF, 0xFF, 0xFE, 0xFF, 0, 0})},
             Case{70000, Bytes({255, 0xFF, 0xFF, 0x70, 0x11, 1, 0})},
         }) {
        SCOPED_TRACE(c.size);
        const std::vector<std::byte> bytes = EncodeIndex({{std::string(c.size, 'x')}, {}, {}});
        EXPECT_EQ(bytes, Joined({Bytes({1, 0}), c.length, std::vector<std::byte>(c.size, std::byte{'x'}),
                                 Bytes({0, 0, 0, 0, 0, 0})}));
        EXPECT_EQ(DecodeIndex(bytes).lists.bookmarkPaths, std::vector{std::string(c.size, 'x')});
    }
    const std::vector<std::string> many(0xFFFF, "r");
    const std::vector<std::byte> bytes = EncodeIndex({{}, many, {}});
    EXPECT_EQ(std::vector(bytes.begin(), bytes.begin() + 8), Bytes({0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}));
    EXPECT_EQ(DecodeIndex(bytes).lists.journal, many);
}

TEST(JournalIndex, KeepsWhatStandsBeforeABreak)
{
    const std::vector<std::byte> whole = EncodeIndex({{"p1", "p2"}, {"r1", std::string(300, 'r')}, {"t"}});
    const std::size_t threeLists = whole.size() - 2;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const DecodedIndex index = DecodeIndex(std::span(whole).first(size));
        EXPECT_EQ(index.isWhole, size == 0 || size == threeLists || size == whole.size());
        const bool hasFirst = size >= 8;
        EXPECT_EQ(index.lists.bookmarkPaths.size() == 2, hasFirst);
        EXPECT_EQ(index.lists.journal.size(), size >= 8 + 2 + 3 + 303 ? 2U : size >= 8 + 2 + 3 ? 1U : 0U);
        EXPECT_EQ(index.lists.bookmarkTargets.size(), size >= threeLists ? 1U : 0U);
    }
    for (const auto& hostile :
         {fixtures::Bytes({255, 255, 255, 255, 255, 255}),
          fixtures::Bytes({255, 255, 255, 255, 255, 255, 0, 0, 255, 255, 255, 255, 255, 255, 255}),
          std::vector(5000, std::byte{0xFF})}) {
        EXPECT_FALSE(DecodeIndex(hostile).isWhole);
    }
}

TEST(JournalRecord, IsTakenApartFromTheRight)
{
    const std::string plain = "5;1;HKEY_USERS\\a;HKEY_USERS\\a;7;old;new;me;20040323212800123";
    const JournalRecord record = ParseRecord(plain);
    EXPECT_EQ(record.kind, 5);
    EXPECT_EQ(record.object, 1);
    EXPECT_EQ(record.path, "HKEY_USERS\\a");
    EXPECT_EQ(record.secondPath, "HKEY_USERS\\a");
    EXPECT_EQ(record.type, 7);
    EXPECT_EQ(record.name, "old");
    EXPECT_EQ(record.newName, "new");
    EXPECT_EQ(record.user, "me");
    EXPECT_EQ(record.stamp, "20040323212800123");
    EXPECT_TRUE(record.isPlain);
    EXPECT_FALSE(ParseRecord("4;1;k;k;1;a;b;(null);me;20040323212800123").isPlain);
    for (const char* hostile : {"", ";", "x", ";;;;;;;;;;", "99999999999999;1;2"}) {
        EXPECT_FALSE(ParseRecord(hostile).isPlain) << hostile;
    }
    EXPECT_EQ(ParseRecord("no separator").object, 11);
}

TEST(JournalRecord, HoldsWhatEachChangePutsIntoIt)
{
    const std::string k = "HKEY_USERS\\k";
    struct Case {
        ChangeRecord change;
        std::string record;
    };
    for (const Case& c : {
             Case{ChangeRecord::EditValue(k, "v", 4, "1"), "6;2;HKEY_USERS\\k;HKEY_USERS\\k;4;v;v;me;S"},
             Case{ChangeRecord::NewValue(k, "", 1, "1"), "7;2;HKEY_USERS\\k;HKEY_USERS\\k;1;;;me;S"},
             Case{ChangeRecord::DeleteValue(k, "v", 0x80000000),
                  "4;1;HKEY_USERS\\k;HKEY_USERS\\k;-2147483648;v;(null);me;S"},
             Case{ChangeRecord::RenameValue(k, "v", "w", 3), "5;1;HKEY_USERS\\k;HKEY_USERS\\k;3;v;w;me;S"},
             Case{ChangeRecord::DeleteKey(k), "4;0;HKEY_USERS\\k;;0;;(null);me;S"},
             Case{ChangeRecord::RenameKey(k, "n"), "5;0;HKEY_USERS\\k;n;0;(null);(null);me;S"},
             Case{ChangeRecord::NewKey(k, "n"), "7;0;HKEY_USERS\\k;n;0;;;me;S"},
         }) {
        EXPECT_EQ(FormatRecord(c.change, "me", "S"), c.record);
    }
}

TEST(JournalRow, ShowsAChangeAsAPersonKnowsIt)
{
    struct Case {
        const char* record;
        int image;
        JournalOperation operation;
        const char* what;
    };
    for (const Case& c : {
             Case{"4;0;HKEY_CURRENT_USER\\Software\\X;;0;;(null);me;20040323212800123", 11, JournalOperation::kDelete,
                  "X"},
             Case{"4;0;HKEY_USERS;;0;;(null);me;20040323212800123", 11, JournalOperation::kDelete, "HKEY_USERS"},
             Case{"7;0;HKEY_USERS\\p;new;3;;;me;20040323212800123", 11, JournalOperation::kNew, "new"},
             Case{"6;2;k;k;7;v;v;me;20040323212800123", 7, JournalOperation::kModify, "v"},
             Case{"5;1;k;k;20;v;w;me;20040323212800123", 12, JournalOperation::kRename, "v"},
             Case{"4;1;k;k;-1;;(null);me;20040323212800123", 12, JournalOperation::kDelete, "(empty)"},
             Case{"8;0;k;;0;;;me;20040323212800123", 13, JournalOperation::kFirstGroup, "k"},
             Case{"9;1;k;;0;v;;me;20040323212800123", 14, JournalOperation::kSecondGroup, ""},
             Case{"1;1;k;k;3;v;v;me;20040323212800123", 3, JournalOperation::kOther, "v"},
         }) {
        SCOPED_TRACE(c.record);
        const JournalRow row = RowOf(ParseRecord(c.record), "(empty)");
        EXPECT_EQ(row.image, c.image);
        EXPECT_EQ(row.operation, c.operation);
        EXPECT_EQ(row.what, c.what);
        EXPECT_EQ(row.date, "23.03.2004 - 21:28");
    }
    EXPECT_EQ(RowOf(ParseRecord("4"), "").date, ".. - :"); // no stamp at all
}

TEST(Expiry, NeedsTheJournalsRuleAndTheCalendar)
{
    struct Case {
        StampDate date;
        StampDate today;
        int keep;
        bool isExpired;
    };
    for (const Case& c : {
             Case{{2004, 3, 10}, {2004, 3, 15}, 20, false},
             Case{{2004, 2, 20}, {2004, 3, 15}, 20, true},
             Case{{2004, 2, 24}, {2004, 3, 15}, 20, false}, // 20 days by the calendar
             Case{{2003, 11, 15}, {2004, 3, 15}, 20, true},
             Case{{2003, 1, 10}, {2004, 3, 15}, 20, false}, // the rule alone keeps it
             Case{{2003, 12, 30}, {2004, 1, 5}, 20, false}, // the rule alone would drop it
             Case{{2003, 12, 10}, {2004, 1, 5}, 20, true},
             Case{{2004, 3, 14}, {2004, 3, 15}, 0, true},
             Case{{2004, 3, 15}, {2004, 3, 15}, 0, false},
         }) {
        EXPECT_EQ(HasExpired(c.date, c.today, c.keep), c.isExpired) << c.date.year << c.date.month << c.date.day;
    }
    for (const char* name : {"", "index", "2004031", "20041301", "20040230x", "notes20040101", "00000000000000000"}) {
        EXPECT_EQ(DateOf(name), std::nullopt) << name;
    }
    EXPECT_EQ(DateOf("20040229-anything"), (StampDate{2004, 2, 29}));
    EXPECT_FALSE(IsStamp("../../../../etc/x"));
}

TEST(PendingLog, EndsAtTheFirstEntryThatDoesNotFit)
{
    fixtures::PowerCutStore store;
    PendingLog log = PendingLog::Open(store, "/d/journal.pending").value();
    ASSERT_TRUE(log.Append(PendingLog::Event::kBegun, "one"));
    log.Note(PendingLog::Event::kMade, "one");
    ASSERT_TRUE(log.AppendAll(PendingLog::Event::kDropped, {"two", "three"}));
    const std::vector<std::byte> whole = store.Content("/d/journal.pending");
    const auto read = [](std::span<const std::byte> bytes) {
        std::string text;
        std::size_t end = 0;
        for (const PendingLog::Entry& entry : PendingLog::Parse(bytes, end)) {
            text += std::string(1, static_cast<char>(entry.event)) + entry.record + " ";
        }
        return text;
    };
    EXPECT_EQ(read(whole), "bone mone dtwo dthree ");
    for (std::size_t at = 8 + 12; at < whole.size(); ++at) {
        std::vector<std::byte> altered = whole;
        altered[at] ^= std::byte{0x10};
        EXPECT_LT(read(altered).size(), read(whole).size()) << at;
        EXPECT_TRUE(read(whole).starts_with(read(std::span(whole).first(at)))) << at;
    }
}

TEST(PendingLog, TellsWhatBecameOfEachRecord)
{
    struct Case {
        const char* entries; ///< event and record each
        const char* states;  ///< o: open, m: made, n: not made, c: cut, g: gone
    };
    for (const Case& c : {
             Case{"", ""},
             Case{"b1", "o1"},
             Case{"b1 m1", "m1"},
             Case{"b1 b2 m2", "o1 m2"},
             Case{"m1", "m1"}, // a start without a clean end wrote no more
             Case{"b1 m1 d1", "g1"},
             Case{"d1", "g1"}, // of the index
             Case{"b1 d1 b1", "g1 o1"},
             Case{"d1 b1 m1", "g1 m1"},
             Case{"B1 B2", "n1 n2"},
             Case{"B1 B2 d2", "n1 g2"},
             Case{"B1 B2 G1", "c1 c2"},
             Case{"B1 B2 G1 d2", "c1 g2"},
             Case{"B1 B2 G1 M1", "m1 m2"},
             Case{"B1 B2 G1 M1 d1", "g1 m2"},
             Case{"b1 B2 G2", "o1 c2"},
             Case{"B1 B2 B3 G2 M2", "n1 m2 m3"},
             Case{"B1 G1 M1 B2 G2", "m1 c2"},
             Case{"B1 G1 m1", "m1"},
             Case{"B1 G9 M9", "n1"}, // of no member
         }) {
        SCOPED_TRACE(c.entries);
        std::vector<PendingLog::Entry> entries;
        for (std::string_view rest = c.entries; rest.size() >= 2;
             rest.remove_prefix(std::min<std::size_t>(3, rest.size()))) {
            entries.push_back({static_cast<PendingLog::Event>(rest[0]), std::string(1, rest[1])});
        }
        std::string states;
        for (const PendingRecord& record : ReplayPending(entries)) {
            states +=
                (states.empty() ? "" : " ") + std::string(1, "omncg"[static_cast<int>(record.state)]) + record.record;
        }
        EXPECT_EQ(states, c.states);
    }
}

TEST(Stamp, HasAnotherBehindItOnTheSameDay)
{
    using Next = std::optional<std::string>;
    EXPECT_EQ(StampAfter("20040323212800123"), Next("20040323212800124"));
    EXPECT_EQ(StampAfter("20040323212859999"), Next("20040323212900000"));
    EXPECT_EQ(StampAfter("20040323225959999"), Next("20040323230000000"));
    EXPECT_EQ(StampAfter("20040323235959998"), Next("20040323235959999"));
    EXPECT_EQ(StampAfter("20040323235959999"), Next());
    EXPECT_EQ(StampAfter("99999999999999999"), Next());
    EXPECT_EQ(StampAfter("no stamp"), Next());
}

TEST(Stamp, IsTheTimeOrTheNextMillisecondThatIsFree)
{
    constexpr std::uint64_t kNow = 127'245'168'000'000'000;
    constexpr std::uint64_t kMillisecond = 10'000;
    std::set<std::string> taken = {FormatStamp(kNow + 2 * kMillisecond)};
    TakenStamps stamps;
    std::size_t questions = 0;
    const auto take = [&](std::uint64_t now) {
        const std::string stamp = stamps.TakeNext(now, [&](const std::string& text) {
            ++questions;
            return taken.contains(text);
        });
        EXPECT_TRUE(taken.insert(stamp).second);
        return stamp;
    };
    EXPECT_EQ(take(kNow), FormatStamp(kNow));
    EXPECT_EQ(take(kNow + kMillisecond - 1), FormatStamp(kNow + kMillisecond));
    EXPECT_EQ(take(kNow), FormatStamp(kNow + 3 * kMillisecond));
    EXPECT_EQ(questions, 4U);
    EXPECT_EQ(take(kNow + 3 * kMillisecond), FormatStamp(kNow + 4 * kMillisecond));
    EXPECT_EQ(questions, 5U) << "the last one is remembered";
    EXPECT_EQ(take(kNow + 9 * kMillisecond), FormatStamp(kNow + 9 * kMillisecond));
    EXPECT_EQ(take(kNow - kMillisecond), FormatStamp(kNow - kMillisecond)) << "a clock that was set back";
    EXPECT_EQ(take(kNow - kMillisecond), FormatStamp(kNow + 5 * kMillisecond));
}

} // namespace
} // namespace tolvar
