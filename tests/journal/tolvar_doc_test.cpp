#include <cstring>
#include <set>

#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/journal_test.h"
#include "fixtures/scratch_folder.h"
#include "journal/index_file.h"
#include "journal/pasted_value.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "registry/value_reference.h"

namespace tolvar {
namespace {

using fixtures::JournalSession;
using fixtures::Picture;

const std::string kTop = fixtures::kJournalTop;
const std::string kOdd = kTop + "\\Odd";

std::string TextOf(fixtures::PowerCutStore& store, const std::string& file)
{
    const std::vector<std::byte>& bytes = store.Content(file);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Where the last frame of a day's snapshots begins.
std::size_t LastFrame(const std::vector<std::byte>& log)
{
    std::uint64_t size = 0;
    std::memcpy(&size, log.data() + log.size() - sizeof size, sizeof size);
    return log.size() - size;
}

class Document : public fixtures::JournalTest {};

TEST_F(Document, WritesTheTextBackupAndTheRecordOfAChange)
{
    Make(ChangeRecord::EditValue(kOdd, "@", 4, "00000007"));
    Make(ChangeRecord::DeleteKey(kOdd + "\\nul\xC0\x80key"));
    Make(ChangeRecord::NewValue(kOdd, "fresh", 1, "x"));
    EXPECT_EQ(TextOf(store, "/d/backups/" + Stamp(0)), "") << "no line holds a name like this";
    EXPECT_EQ(TextOf(store, "/d/backups/" + Stamp(1)), "v=1:owned\r\n");
    EXPECT_FALSE(store.Exists("/d/backups/" + Stamp(2)));
    EXPECT_TRUE(Doc().Journal()[0].starts_with("6;2;HKEY_USERS\\W\\Odd;HKEY_USERS\\W\\Odd;4;@;@;"));
    EXPECT_TRUE(Doc().SaveModified());
    EXPECT_FALSE(store.Exists("/d/journal.pending"));
    const DecodedIndex index = DecodeIndex(store.Content("/d/backups/index"));
    EXPECT_EQ(index.lists.journal, std::vector(Doc().Journal().begin(), Doc().Journal().end()));
}

TEST_F(Document, RefusesWithTheRightCodeAndLeavesNoTrace)
{
    const std::string before = Now();
    struct Case {
        ChangeRecord change;
        std::uint32_t code;
    };
    for (const Case& c : {
             Case{ChangeRecord::NewKey(kTop, "odd"), 183},
             Case{ChangeRecord::NewKey(kTop, "a\\b"), 87},
             Case{ChangeRecord::NewKey(kTop, ""), 87},
             Case{ChangeRecord::NewKey(kTop, std::string(300, 'x')), 87},
             Case{ChangeRecord::NewKey(kTop + "\\none", "a"), 2},
             Case{ChangeRecord::NewKey("HKEY_USERS", "a"), 5},
             Case{ChangeRecord::RenameKey(kOdd + "\\[x]:=;", "line\nfeed"), 183},
             Case{ChangeRecord::RenameKey(kTop, "a"), 5},
             Case{ChangeRecord::RenameKey("HKEY_USERS", "a"), 5},
             Case{ChangeRecord::DeleteKey(kTop), 5},
             Case{ChangeRecord::DeleteKey("HKEY_USERS"), 5},
             Case{ChangeRecord::DeleteKey(kTop + "\\none"), 2},
             Case{ChangeRecord::DeleteValue(kOdd, "missing", 1), 2},
             Case{ChangeRecord::RenameValue(kOdd, "missing", "a", 1), 1},
             Case{ChangeRecord::RenameValue(kOdd, "@", std::string(20000, 'x'), 1), 87},
             Case{ChangeRecord::EditValue(kOdd, "@", 4, "no number"), 87},
         }) {
        SCOPED_TRACE(FormatRecord(c.change, "", "").substr(0, 80));
        const Result<void> made = Doc().ApplyChange(c.change);
        EXPECT_EQ(made ? 0 : static_cast<std::uint32_t>(made.error().code), c.code);
        EXPECT_EQ(Now(), before);
        EXPECT_TRUE(Doc().Journal().empty());
        EXPECT_EQ(store.List("/d/backups")->size(), 1U);
        EXPECT_TRUE(store.List("/d/snapshots")->empty());
    }
    Start();
    EXPECT_TRUE(Doc().Journal().empty());
}

TEST_F(Document, BringsBackALargeValueAndEveryOddValueWithItsPlace)
{
    ChangeRecord large = ChangeRecord::NewValue(kOdd, "large", 12, {});
    for (int i = 0; i < 150'000; ++i) {
        large.data->append(i % 3 == 0 ? "0a " : "ff ");
    }
    Make(large);
    const std::string before = Now();
    for (const char* name : {"", "a:b=c", "[section]", "@", "n\xC0\x80ul", "semi;colon", "feed\nname", "behind",
                             "uneven", "short", "lone\0" /**/, "none", "large"}) {
        SCOPED_TRACE(name);
        Make(ChangeRecord::DeleteValue(kOdd, name, 0));
        EXPECT_NE(Now(), before);
        EXPECT_TRUE(Doc().UndoEntry(1));
        EXPECT_EQ(Now(), before);
    }
    Make(ChangeRecord::DeleteKey("hkey_users\\w\\ODD"));
    EXPECT_TRUE(Doc().UndoEntry(1));
    EXPECT_EQ(Now(), before) << "in its own spelling";
}

TEST_F(Document, RenamesAKeyInAnotherSpellingWithoutTouchingItsSisters)
{
    Make(ChangeRecord::NewKey(kTop, "tempkey"));
    Make(ChangeRecord::RenameKey(kOdd, "ODD"));
    EXPECT_NE(Now().find("[ODD] class OddClass"), std::string::npos);
    EXPECT_NE(Now().find("[tempkey]"), std::string::npos);
    Make(ChangeRecord::EditValue(kOdd, "@", 4, "1"));
    EXPECT_EQ(Doc().UndoEntry(1).error().code, ErrorCode::kBusy) << "a later change is in that key";
    EXPECT_EQ(Doc().UndoEntries({1, 2}).undone, 2U);
    EXPECT_NE(Now().find("[ODD] class OddClass"), std::string::npos) << "the new spelling stays";
    EXPECT_NE(Now().find("@ = 4:01020304"), std::string::npos);
}

TEST_F(Document, TakesALabelForTheEmptyName)
{
    JournalOptions options;
    options.place.dataFolder = "/e/backups";
    options.place.files = &store;
    options.emptyNameLabel = "(Default)";
    CTolvarDoc labelled(options);
    ASSERT_TRUE(labelled.OnNewDocument());
    const std::string before = Now();
    ASSERT_TRUE(labelled.ApplyChange(ChangeRecord::DeleteValue(kOdd, "(Default)", 1)));
    EXPECT_NE(labelled.Journal()[0].find(";(Default);(null);"), std::string::npos);
    EXPECT_EQ(TextOf(store, "/e/backups/" + std::string(StampOf(labelled.Journal()[0]))), "=1:default");
    ASSERT_TRUE(store.Remove("/e/snapshots/20040323.log"));
    EXPECT_TRUE(labelled.UndoEntry(0)) << "from the text alone";
    EXPECT_NE(Now().find(" = 1:640065006600"), std::string::npos);
}

TEST_F(Document, TellsAValueThatIsNamedLikeTheLabelFromTheUnnamedOne)
{
    JournalOptions options;
    options.place.dataFolder = "/e/backups";
    options.place.files = &store;
    options.emptyNameLabel = "(Default)";
    CTolvarDoc labelled(options);
    ASSERT_TRUE(labelled.OnNewDocument());
    ChangeRecord made = ChangeRecord::EditValue(kOdd, "(Default)", 1, "named");
    made.isLiteralName = true;
    ASSERT_TRUE(labelled.ApplyChange(made));
    const std::string before = Now();
    ASSERT_NE(before.find("(Default) = 1:"), std::string::npos);
    ASSERT_NE(before.find(" = 1:640065006600"), std::string::npos);
    struct Case {
        ChangeRecord change;
        const char* gone;  ///< from the picture, literally
        const char* label; ///< and not literally
    };
    const char* const named = "(Default) = 1:6e0061006d00650064000000";
    const char* const unnamed = "\n = 1:640065006600";
    for (const Case& c : {
             Case{ChangeRecord::DeleteValue(kOdd, "(Default)", 1), named, unnamed},
             Case{ChangeRecord::RenameValue(kOdd, "(Default)", "x", 1), named, unnamed},
             Case{ChangeRecord::EditValue(kOdd, "(Default)", 1, "other"), named, unnamed},
             Case{ChangeRecord::NewValue(kOdd, "(Default)", 1, "other"), named, unnamed},
         }) {
        for (const bool isLiteral : {true, false}) {
            SCOPED_TRACE(static_cast<int>(c.change.kind) * 10 + (isLiteral ? 1 : 0));
            ChangeRecord change = c.change;
            change.isLiteralName = isLiteral;
            ASSERT_TRUE(labelled.ApplyChange(change));
            EXPECT_EQ(Now().find(isLiteral ? c.gone : c.label), std::string::npos);
            EXPECT_NE(Now().find(isLiteral ? c.label : c.gone), std::string::npos);
            EXPECT_NE(labelled.Journal().back().find(";(Default);"), std::string::npos) << "the text keeps the label";
            ASSERT_TRUE(labelled.UndoEntry(1));
            EXPECT_EQ(Now(), before);
            ASSERT_TRUE(labelled.Redo());
            ASSERT_TRUE(labelled.UndoEntry(1));
            EXPECT_EQ(Now(), before);
        }
    }
    ChangeRecord renamed = ChangeRecord::RenameValue(kOdd, "@", "(Default)", 4);
    renamed.isLiteralName = true; // the old name: the new one is typed
    ASSERT_TRUE(labelled.ApplyChange(renamed));
    EXPECT_NE(Now().find(named), std::string::npos);
    EXPECT_EQ(Now().find(unnamed), std::string::npos);
}

TEST_F(Document, UndoesFromTheTextInPlaceOfADamagedSnapshotOnlyWhenForced)
{
    const std::string text = "/d/backups/";
    const std::string log = "/d/snapshots/20040323.log";
    const auto alter = [this](const std::string& file, std::size_t at) { store.Content(file)[at] ^= std::byte{1}; };
    const auto alterImage = [&] { alter(log, LastFrame(store.Content(log)) + 300); };
    const auto cutLog = [&](std::size_t left) { store.Content(log).resize(LastFrame(store.Content(log)) + left); };
    struct Case {
        const char* what;
        std::function<void(const std::string&)> damage;
        std::uint32_t code;   ///< 0: undone
        std::uint32_t forced; ///< the same by force
    };
    for (const Case& c : {
             Case{"nothing", [](const std::string&) {}, 0, 0},
             Case{"no day's file", [&](const std::string&) { (void)store.Remove(log); }, 0, 0},
             Case{"no snapshot in it", [&](const std::string&) { cutLog(0); }, 1392, 0},
             Case{"no text", [&](const std::string& s) { (void)store.Remove(text + s); }, 0, 0},
             Case{"an altered image", [&](const std::string&) { alterImage(); }, 1392, 0},
             Case{"an altered seal", [&](const std::string&) { alter(log, store.Content(log).size() - 20); }, 0, 0},
             Case{"a cut snapshot", [&](const std::string&) { cutLog(100); }, 1392, 0},
             Case{"neither",
                  [&](const std::string& s) {
                      cutLog(0);
                      (void)store.Remove(text + s);
                  },
                  1392, 2},
             Case{"both altered",
                  [&](const std::string& s) {
                      alterImage();
                      alter(text + s, 2);
                  },
                  1392, 1392},
             Case{"both cut",
                  [&](const std::string& s) {
                      cutLog(200);
                      store.Content(text + s).resize(4);
                  },
                  1392, 1392},
         }) {
        SCOPED_TRACE(c.what);
        StartAnew();
        Make(ChangeRecord::NewKey(kTop, "plain"));
        Make(ChangeRecord::DeleteValue(kOdd, "behind", 1));
        Make(ChangeRecord::NewValue(kTop + "\\plain", "v", 4, "2a"));
        const std::string before = Now();
        Make(ChangeRecord::DeleteKey(kTop + "\\plain"));
        const std::string behind = Now();
        const std::size_t last = Doc().Journal().size() - 1;
        c.damage(Stamp(last));
        Start();
        const auto undone = Doc().UndoEntry(last);
        EXPECT_EQ(undone ? 0 : static_cast<std::uint32_t>(undone.error().code), c.code);
        EXPECT_EQ(Now(), c.code == 0 ? before : behind);
        EXPECT_EQ(Doc().Journal().size(), c.code == 0 ? last : last + 1);
        if (c.code != 0) {
            const auto forced = Doc().UndoEntry(last, UndoForce::kYes);
            EXPECT_EQ(forced ? 0 : static_cast<std::uint32_t>(forced.error().code), c.forced);
            EXPECT_EQ(Now(), c.forced == 0 ? before : behind);
            EXPECT_EQ(Doc().Journal().size(), c.forced == 0 ? last : last + 1);
        }
    }
}

TEST_F(Document, DoesNotTakeATextForWholeThatLeftSomethingOut)
{
    Make(ChangeRecord::DeleteValue(kOdd, "a:b=c", 3));
    store.Content("/d/snapshots/20040323.log")[300] ^= std::byte{1};
    Start();
    const std::string behind = Now();
    for (const UndoForce force : {UndoForce::kNo, UndoForce::kYes}) {
        EXPECT_FALSE(Doc().UndoEntry(0, force));
        EXPECT_EQ(Now(), behind);
        EXPECT_EQ(Doc().Journal().size(), 1U);
    }
}

TEST_F(Document, AltersNothingForRecordsThatComeFromElsewhere)
{
    const std::string stamp = "20040323115900000";
    store.Put("/d/backups/" + stamp, fixtures::Bytes({'v', '=', '1', ':', 'x'}));
    store.Put("/d/precious", fixtures::Bytes({1}));
    const std::vector<std::string> records = {"8;0;HKEY_USERS\\W;;0;;;me;" + stamp,
                                              "4;1;HKEY_USERS\\W;HKEY_USERS\\W;1;v;(null);me;../precious",
                                              "4;1;HKEY_USERS\\W;x;y;HKEY_USERS\\W;1;v;(null);me;20040323115900001",
                                              "no record",
                                              "77;1;HKEY_USERS\\W;HKEY_USERS\\W;1;v;v;me;" + stamp,
                                              "4;9;HKEY_USERS\\W;HKEY_USERS\\W;1;v;(null);me;" + stamp};
    store.Put("/d/backups/index", EncodeIndex({{"p"}, records, {"t"}}));
    Start();
    const std::string before = Now();
    ASSERT_EQ(Doc().Journal().size(), records.size());
    EXPECT_EQ(Doc().UndoEntry(0).value(), UndoOutcome::kLeft);
    const UndoReport report = Doc().UndoEntries({0, 1, 2, 3, 4, 5});
    EXPECT_EQ(report.undone, 0U);
    EXPECT_EQ(report.failures.size(), 5U);
    EXPECT_EQ(Now(), before);
    EXPECT_TRUE(Doc().RemoveEntries({1, 2, 3, 99}));
    EXPECT_TRUE(store.Exists("/d/precious"));
    EXPECT_TRUE(store.Exists("/d/backups/" + stamp));
    EXPECT_EQ(Doc().BookmarkPaths(), std::vector<std::string>{"p"});
}

TEST_F(Document, RemovesTheMembersOfAGroupWithIt)
{
    const std::string member = "20040323115900000";
    const std::string group = "20040323115900001";
    store.Put("/d/backups/" + member, {});
    const std::vector<std::byte> lists =
        EncodeIndex({{"6;2;k;k;1;v;v;me;" + member, "6;2;k;k;1;v;v;me;../index"}, {}, {}});
    store.Put("/d/backups/" + group, std::vector(lists.begin(), lists.end() - 6));
    store.Put("/d/backups/index", EncodeIndex({{}, {"9;0;k;;0;;;me;" + group}, {}}));
    Start();
    EXPECT_TRUE(Doc().RemoveEntry(0));
    EXPECT_EQ(store.List("/d/backups").value(), std::vector<std::string>{"index"});
    EXPECT_TRUE(Doc().Journal().empty());
}

TEST_F(Document, KeepsADamagedIndexAside)
{
    std::vector<std::byte> index = EncodeIndex({{}, {"6;2;k;k;1;v;v;me;20040323115900000", "cut off"}, {}});
    index.resize(index.size() - 8);
    store.Put("/d/backups/index", index);
    Start();
    EXPECT_EQ(Doc().Journal().size(), 1U);
    Make(ChangeRecord::NewKey(kTop, "a"));
    EXPECT_TRUE(Doc().SaveModified());
    EXPECT_EQ(store.Content("/d/index.damaged"), index);
    Start();
    EXPECT_EQ(Doc().Journal().size(), 2U);
}

TEST_F(Document, CompletesADamagedIndexFromTheSealsAndSaysSo)
{
    using Bytes = std::vector<std::byte>;
    const struct {
        const char* what;
        std::function<void(Bytes& index)> damage;
        std::size_t notices;
    } cases[] = {
        {"nothing", [](Bytes&) {}, 0},
        {"a byte of a record", [](Bytes& index) { index[20] ^= std::byte{1}; }, 1},
        {"a byte of a stamp", [](Bytes& index) { index[index.size() - 10] ^= std::byte{1}; }, 1},
        {"cut", [](Bytes& index) { index.resize(index.size() / 2); }, 1},
        {"empty", [](Bytes& index) { index.clear(); }, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        StartAnew();
        const std::string before = Now();
        Make(ChangeRecord::NewKey(kTop, "se;mi"));
        Make(ChangeRecord::EditValue(kOdd, "@", 4, "1"));
        Make(ChangeRecord::DeleteKey(kOdd));
        const std::vector<std::string> entries = Entries();
        ASSERT_TRUE(Doc().SaveModified());
        Bytes& index = store.Content("/d/backups/index");
        c.damage(index);
        const Bytes damaged = index;
        Start();
        EXPECT_EQ(Doc().Notices().size(), c.notices);
        EXPECT_EQ(store.Exists("/d/index.damaged"), c.notices != 0);
        for (const std::string& entry : entries) {
            EXPECT_EQ(std::ranges::count(Doc().Journal(), entry), 1) << entry;
        }
        Start(); // without a clean end: the same damage has one copy
        EXPECT_FALSE(store.Exists("/d/index.damaged2"));
        EXPECT_EQ(c.notices == 0 ? damaged : store.Content("/d/index.damaged"), damaged);
        ASSERT_TRUE(Doc().SaveModified());
        Start();
        EXPECT_TRUE(Doc().Notices().empty());
        for (std::size_t i = entries.size(); i-- > 0;) {
            const auto place = std::ranges::find(Doc().Journal(), entries[i]) - Doc().Journal().begin();
            EXPECT_TRUE(Doc().UndoEntry(static_cast<std::size_t>(place)));
        }
        EXPECT_EQ(Now(), before);
    }
}

TEST_F(Document, TakesNoDamagedIndexForOneThatWasWritten)
{
    Make(ChangeRecord::NewKey(kTop, "a"));
    Make(ChangeRecord::NewKey(kTop, "b"));
    ASSERT_TRUE(Doc().SaveModified());
    std::vector<std::byte> altered = store.Content("/d/backups/index");
    altered[20] ^= std::byte{1};
    store.Put("/d/backups/index", altered);
    bool isThrough = false;
    for (std::size_t call = 1; !isThrough && !HasFailure(); ++call) {
        SCOPED_TRACE(call);
        fixtures::PowerCutStore cut = store.AfterPowerCut(0);
        session.reset();
        {
            cut.FailAt(call);
            JournalSession mending(cut);
            isThrough = mending.Opened() && mending.Document().SaveModified() && cut.Calls() < call;
        }
        fixtures::PowerCutStore after = cut.AfterPowerCut(static_cast<std::uint32_t>(call));
        session.emplace(after);
        ASSERT_TRUE(session->Opened());
        EXPECT_EQ(Doc().Journal().size(), 2U);
        EXPECT_TRUE(isThrough || !Doc().Notices().empty() || after.Exists("/d/index.damaged"));
        for (const std::string& entry : Entries()) {
            EXPECT_TRUE(entry.starts_with("7;0;HKEY_USERS\\W;")) << entry;
        }
    }
}

TEST_F(Document, ExpiresBackupsWithTheirRecordsAndOneRecordWithoutABackup)
{
    const std::string old = "2004010112000000";
    std::vector<std::string> records;
    for (const char digit : {'0', '1', '2', '3'}) {
        records.push_back("7;0;k;a;0;;;me;" + old + digit);
    }
    records.push_back("7;0;k;a;0;;;me;20040322120000000");
    store.Put("/d/backups/index", EncodeIndex({{}, records, {}}));
    for (const std::string& name : {old + "2", old + "9", std::string("20040322120000000"), std::string("notes.txt")}) {
        store.Put("/d/backups/" + name, {});
        store.Put("/d/snapshots/" + name, {});
    }
    Start();
    EXPECT_EQ(Doc().Journal().size(), 3U) << "one with its file, one without";
    EXPECT_EQ(store.List("/d/backups").value(), (std::vector<std::string>{"20040322120000000", "index", "notes.txt"}));
    EXPECT_EQ(store.List("/d/snapshots").value(), (std::vector<std::string>{"20040322120000000", "notes.txt"}));
    Start(); // without a clean end
    EXPECT_EQ(Doc().Journal().size(), 2U);
    EXPECT_EQ(Doc().ExpireBackups(0).value(), 2U);
}

TEST_F(Document, ExpiresWhenItsOwnerWantsThat)
{
    const std::vector<std::string> old = {"7;0;k;a;0;;;me;20040101120000000", "7;0;k;a;0;;;me;20040102120000000",
                                          "7;0;k;a;0;;;me;20040103120000000"};
    store.Put("/e/backups/index", EncodeIndex({{}, old, {}}));
    JournalOptions options;
    options.place.dataFolder = "/e/backups";
    options.place.files = &store;
    const auto left = [&](std::uint64_t day, JournalExpiry expiry, bool isReadOnly = false) {
        const fixtures::StandingClock clock(127'245'168'000'000'000 + day * 864'000'000'000);
        options.place.clock = &clock;
        options.expiry = expiry;
        options.place.isReadOnly = isReadOnly;
        CTolvarDoc document(options);
        EXPECT_TRUE(document.OnNewDocument());
        return document.Journal().size();
    };
    EXPECT_EQ(left(0, JournalExpiry::kNever), 3U);
    EXPECT_EQ(left(0, JournalExpiry::kOnceADay, true), 3U);
    EXPECT_EQ(left(0, JournalExpiry::kOnceADay), 2U) << "of those without a backup one goes at a time";
    EXPECT_EQ(left(0, JournalExpiry::kOnceADay), 2U);
    EXPECT_EQ(left(1, JournalExpiry::kOnceADay), 1U);
    EXPECT_EQ(left(1, JournalExpiry::kAtStart), 0U);
}

TEST_F(Document, TakesNoChangesForReadingOnly)
{
    Make(ChangeRecord::NewKey(kTop, "a"));
    JournalOptions options;
    options.place.dataFolder = "/d/backups";
    options.place.files = &store;
    options.place.isReadOnly = true;
    CTolvarDoc reader(options);
    ASSERT_TRUE(reader.OnNewDocument());
    EXPECT_EQ(reader.Journal().size(), 1U);
    EXPECT_EQ(reader.ApplyChange(ChangeRecord::NewKey(kTop, "b")).error().code, ErrorCode::kWriteProtect);
    EXPECT_TRUE(reader.SaveModified());
    EXPECT_EQ(store.Content("/d/backups/index").size(), 0U);
}

TEST_F(Document, PastesTheValueThatATextNames)
{
    Make(ChangeRecord::NewKey(kTop, "to"));
    struct Case {
        std::string text;
        std::uint32_t code; ///< 0: it is pasted
    };
    for (const Case& c : {
             Case{kOdd + "\\\\[semi;colon]", 0},
             Case{kOdd + "\\\\[[section]]", 0},
             Case{kOdd + "\\\\[@", 0},
             Case{kOdd + "\\\\[]", 0},
             Case{kOdd + "\\[x]:=;\\deep\\\\[large]", 0},
             Case{kOdd + "\\[semi;colon]", 13},
             Case{"", 13},
             Case{kTop + "\\\\[]", 13},
             Case{kOdd + "\\\\[missing]", 2},
             Case{kTop + "\\missing\\\\[v]", 2},
             Case{"hkey_users\\W\\Odd\\\\[@]", 2},
         }) {
        SCOPED_TRACE(c.text);
        const Result<ChangeRecord> paste = PasteOf(c.text, kTop + "\\to");
        ASSERT_EQ(paste ? 0 : static_cast<std::uint32_t>(paste.error().code), c.code);
        if (paste) {
            Make(*paste);
            EXPECT_EQ(paste->name, ParseValueReference(c.text)->name);
        }
    }
    EXPECT_NE(Now().find("semi;colon = 7:61003b0062000000630000000000\n[section] = 1:78000000\n@ = 4:01020304"),
              std::string::npos)
        << "in the order of pasting";
    EXPECT_EQ(ParseValueReference(FormatValueReference({"k", "a]b"}))->name, "a]b");
    EXPECT_EQ(FreshKeyName(kTop), "New Key N#1");
    Make(ChangeRecord::NewKey(kTop, "new key n#1"));
    EXPECT_EQ(FreshKeyName(kTop), "New Key N#2");
}

TEST_F(Document, TakesAGroupBackThatIsNotCommitted)
{
    Make(ChangeRecord::NewKey(kTop, "kept"));
    const std::string before = Now();
    const std::vector<std::string> files = store.List("/d/backups").value();
    {
        const ChangeGroup group(Doc());
        Make(ChangeRecord::DeleteValue(kOdd, "behind", 1));
        Make(ChangeRecord::RenameKey(kOdd, "Odder"));
        EXPECT_FALSE(Doc().ApplyChange(ChangeRecord::DeleteKey(kTop + "\\none")));
        EXPECT_NE(Now(), before);
        EXPECT_EQ(Doc().Journal().size(), 1U) << "its records are not to be seen yet";
        EXPECT_EQ(Doc().UndoEntry(0).error().code, ErrorCode::kInvalidFunction);
        EXPECT_EQ(Doc().RemoveEntry(0).error().code, ErrorCode::kInvalidFunction);
        EXPECT_EQ(Doc().ExpireBackups(0).error().code, ErrorCode::kInvalidFunction);
    }
    EXPECT_EQ(Now(), before);
    EXPECT_EQ(store.List("/d/backups").value(), files);
    std::size_t seals = 0;
    SnapshotLog(store, "/d/snapshots").ForEachSeal([&seals](const SnapshotSeal&) { ++seals; });
    EXPECT_EQ(seals, 1U);
    Make(ChangeRecord::DeleteValue(kOdd, "behind", 1));
    Start();
    EXPECT_EQ(Doc().Journal().size(), 2U);
}

TEST_F(Document, GivesNoStampTwiceOverARestartWithTheSameClock)
{
    std::set<std::string> stamps;
    std::size_t made = 0;
    for (int run = 0; run < 3; ++run) { // each run's clock begins where the first one's did
        Start();
        for (int i = 0; i < 5; ++i) {
            Make(ChangeRecord::NewKey(kTop, "k" + std::to_string(made++)));
        }
        for (std::size_t index = 0; index < Doc().Journal().size(); ++index) {
            stamps.insert(Stamp(index));
        }
    }
    EXPECT_EQ(Doc().Journal().size(), made);
    EXPECT_EQ(stamps.size(), made);
}

TEST_F(Document, MakesWhatAnInnerGroupCommitsDurableWithTheOuterOne)
{
    ChangeGroup outer(Doc());
    Make(ChangeRecord::NewKey(kTop, "a"));
    {
        ChangeGroup inner(Doc());
        Make(ChangeRecord::NewKey(kTop, "b"));
        EXPECT_EQ(inner.TakeBack().undone, 1U);
        EXPECT_EQ(inner.TakeBack().undone, 0U);
    }
    ChangeGroup inner(Doc());
    Make(ChangeRecord::NewKey(kTop, "c"));
    EXPECT_TRUE(inner.Commit());
    EXPECT_TRUE(Doc().Journal().empty());
    EXPECT_TRUE(outer.Commit());
    EXPECT_EQ(Doc().Journal().size(), 2U);
    Start();
    EXPECT_EQ(Doc().Journal().size(), 2U);
    EXPECT_EQ(Doc().TakenBack().undone, 0U);
    EXPECT_NE(Now().find("[a]"), std::string::npos);
    EXPECT_EQ(Now().find("[b]"), std::string::npos);
    EXPECT_NE(Now().find("[c]"), std::string::npos);
}

TEST(DataFolder, ThatCannotBeHadRefusesEveryChangeBeforeAnythingIsTouched)
{
    fixtures::PowerCutStore store;
    store.Put(fixtures::kJournalHive, fixtures::OddHive());
    JournalSession session(store);
    const fixtures::ScratchFolder folder;
    JournalOptions options;
    options.place.dataFolder = folder / "a/backups";
    CTolvarDoc first(options);
    ASSERT_TRUE(first.OnNewDocument());
    CTolvarDoc second(options);
    const Result<void> opened = second.OnNewDocument();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().code, ErrorCode::kSharingViolation);
    EXPECT_NE(opened.error().context.find("process " + std::to_string(getpid())), std::string::npos);
    options.place.dataFolder = "/dev/null/backups";
    CTolvarDoc third(options);
    EXPECT_FALSE(third.OnNewDocument());
    options.place.fallbackFolder = folder / "b/Backups";
    CTolvarDoc fourth(options);
    EXPECT_TRUE(fourth.OnNewDocument());
    EXPECT_EQ(fourth.DataFolder(), options.place.fallbackFolder);
    const std::string before = Picture(session.Reader());
    for (CTolvarDoc* document : {&second, &third}) {
        EXPECT_FALSE(document->ApplyChange(ChangeRecord::NewKey(kTop, "a")));
        EXPECT_TRUE(document->SaveModified());
    }
    EXPECT_EQ(Picture(session.Reader()), before);
}

} // namespace
} // namespace tolvar
