#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/power_cut_store.h"
#include "journal/content_hash.h"
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

class Pending : public testing::Test {
protected:
    using Bytes = std::vector<std::byte>;
    using Event = PendingLog::Event;

    static std::string Read(std::span<const std::byte> bytes)
    {
        std::string text;
        for (const PendingLog::Entry& entry : PendingLog::Parse(bytes).entries) {
            text += std::string(1, static_cast<char>(entry.event)) + entry.record + " ";
        }
        return text;
    }
    [[nodiscard]] PendingLog Opened() { return PendingLog::Open(store, kFile).value(); }
    [[nodiscard]] Bytes& Content() { return store.Content(kFile); }

    static constexpr const char* kFile = "/d/journal.pending";
    fixtures::PowerCutStore store;
};

TEST_F(Pending, TellsDamageFromAnAppendThatWasCut)
{
    PendingLog log = Opened();
    std::vector<std::size_t> ends = {0}; // of what each call added
    const auto end = [&] { ends.push_back(Content().size()); };
    ASSERT_TRUE(log.Append(Event::kBegun, "1"));
    end();
    log.Note(Event::kMade, "1");
    end();
    ASSERT_TRUE(log.Append(Event::kDropped, "2"));
    end();
    ASSERT_TRUE(log.AppendLater(Event::kMember, "3"));
    end();
    ASSERT_TRUE(log.Append(Event::kGroupBegun, "3"));
    end();
    ASSERT_TRUE(log.AppendAll(Event::kBegun, {"4", "5", "6"})); // nothing behind it shows that it was durable
    const Bytes whole = Content();
    EXPECT_EQ(Read(whole), "b1 m1 d2 B3 G3 b4 b5 b6 ");
    const std::size_t entry = (whole.size() - ends.back()) / 3;
    const char* const altered[] = {
        "? b1 m1 d2 B3 G3 b4 b5 b6 ", "? m1 d2 B3 G3 b4 b5 b6 ", "b1 ? d2 B3 G3 b4 b5 b6 ", "b1 m1 ? B3 G3 b4 b5 b6 ",
        "b1 m1 d2 ? G3 b4 b5 b6 ",    "b1 m1 d2 B3 ? b4 b5 b6 ", "b1 m1 d2 B3 G3 ",         "b1 m1 d2 B3 G3 b4 ",
        "b1 m1 d2 B3 G3 b4 b5 "};
    for (std::size_t at = 0; at < whole.size(); ++at) {
        SCOPED_TRACE(at);
        Bytes bytes = whole;
        bytes[at] ^= std::byte{0x10};
        const std::size_t hit = at < 8 ? 0
                                : at < ends.back()
                                    ? static_cast<std::size_t>(std::ranges::upper_bound(ends, at) - ends.begin())
                                    : 6 + (at - ends.back()) / entry;
        EXPECT_EQ(Read(bytes), altered[hit]);
        EXPECT_TRUE(Read(whole).starts_with(Read(std::span(whole).first(at)))) << "a cut is no damage";
        for (std::size_t to : {at + 40, whole.size()}) { // blocks that were not written
            bytes = whole;
            std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                      bytes.begin() + static_cast<std::ptrdiff_t>(std::min(to, bytes.size())), std::byte{0});
            const bool isDurable = at < ends.back() && to != whole.size() && to < ends.back() + 2 * entry;
            EXPECT_EQ(Read(bytes).find('?') != std::string::npos, isDurable);
        }
    }
}

TEST_F(Pending, KeepsNothingOfAnAppendThatFailed)
{
    for (const auto fault : {fixtures::PowerCutStore::Fault::kDiskFull, fixtures::PowerCutStore::Fault::kPowerCut}) {
        bool isThrough = false;
        for (std::size_t call = 1; !isThrough && !HasFailure(); ++call) {
            SCOPED_TRACE(call);
            store = {};
            ASSERT_TRUE(Opened().Append(Event::kBegun, "1"));
            Bytes torn = Content();
            ASSERT_TRUE(Opened().AppendAll(Event::kDropped, {"2", "3"}));
            torn.resize(Content().size());
            std::copy(Content().end() - 30, Content().end(), torn.end() - 30); // the end of it, and not the begin
            store.Put(kFile, torn);
            PendingLog log = Opened();
            store.FailAt(call, fault);
            const bool isFirst = log.Append(Event::kDropped, "4").has_value();
            const bool isSecond = log.Append(Event::kDropped, "5").has_value();
            isThrough = isFirst && isSecond && store.Calls() < call;
            const std::string text = Read(store.AfterPowerCut(static_cast<std::uint32_t>(call)).Content(kFile));
            EXPECT_EQ(text.find_first_of("?23"), std::string::npos) << text;
            EXPECT_EQ(text.find("d5") != std::string::npos, isSecond) << text;
            EXPECT_TRUE(!isFirst || text.find("d4") != std::string::npos) << text;
        }
    }
}

TEST_F(Pending, ReadsAndContinuesAFileOfTheOldForm)
{
    const auto put = [](Bytes& out, auto value) {
        const auto bytes = std::as_bytes(std::span(&value, 1));
        out.insert(out.end(), bytes.begin(), bytes.end());
    };
    Bytes old;
    for (const char letter : std::string_view("TVPEND01")) {
        put(old, letter);
    }
    for (const std::string content : {"b1", "m1", "b2"}) {
        put(old, static_cast<std::uint32_t>(content.size()));
        put(old, ContentHash::Of(std::as_bytes(std::span(content))));
        put(old, content[0]);
        put(old, content[1]);
    }
    EXPECT_EQ(Read(old), "b1 m1 b2 ");
    for (const std::size_t cut : {0, 1, 14}) {
        store.Put(kFile, Bytes(old.begin(), old.end() - static_cast<std::ptrdiff_t>(cut)));
        PendingLog log = Opened();
        log.Note(Event::kMade, "2");
        ASSERT_TRUE(log.Append(Event::kDropped, "3"));
        ASSERT_TRUE(Opened().Append(Event::kDropped, "4"));
        EXPECT_EQ(Read(Content()), cut == 0 ? "b1 m1 b2 m2 d3 d4 " : "b1 m1 m2 d3 d4 ");
        Content()[0] ^= std::byte{1};
        EXPECT_TRUE(Read(Content()).starts_with("? b1 m1 "));
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
             Case{"B1 G9 M9", "n1"},   // of no member
             Case{"b1 ? b2", "m1 o2"}, // something came behind it
             Case{"B1 B2 G1 ? b3 m3", "m1 m2 m3"},
             Case{"B1 ? B2 d2 d1", "g1 g2"},
         }) {
        SCOPED_TRACE(c.entries);
        std::vector<PendingLog::Entry> entries;
        for (std::string_view rest = c.entries; rest.size() >= 2;
             rest.remove_prefix(std::min<std::size_t>(3, rest.size()))) {
            if (rest[0] == '?') {
                entries.push_back({PendingLog::Event::kLost, {}});
                rest.remove_prefix(2);
            }
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
