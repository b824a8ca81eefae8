#include <numeric>

#include <QApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/model_watch.h"
#include "fixtures/window_fixture.h"
#include "journal/ui/journal_list.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

using fixtures::AnswerMessage;
using fixtures::AnswerMessages;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class JournalList : public testing::Test {
protected:
    JournalList()
    {
        fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT", .subkeys = {{.name = u"a"}, {.name = u"b"}, {.name = u"c"}}});
        list.FillFromJournal();
    }

    void Delete(const char* name)
    {
        EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::DeleteKey(std::string("HKEY_USERS\\K\\") + name)));
    }

    static bool Exists(const char* name)
    {
        RegKey key;
        return OpenKeyPath(std::string("HKEY_USERS\\K\\") + name, *key.Put(), KEY_READ) == ERROR_SUCCESS;
    }

    void SetValue(const std::string& name, const std::string& text)
    {
        EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewValue("HKEY_USERS\\K", name, REG_SZ, text)));
    }

    static void StoreBehindItsBack(const std::string& name, const std::string& text)
    {
        RegKey key;
        ASSERT_EQ(OpenKeyPath("HKEY_USERS\\K", *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExA(key.Get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                 static_cast<DWORD>(text.size() + 1)),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegFlushKey(key.Get()), ERROR_SUCCESS);
    }

    /// The text of a value; "-" for none.
    static std::string Value(const std::string& name)
    {
        RegKey key;
        BYTE text[64] = {};
        DWORD size = sizeof(text) - 1;
        return OpenKeyPath("HKEY_USERS\\K", *key.Put(), KEY_READ) == ERROR_SUCCESS &&
                       RegQueryValueExA(key.Get(), name.c_str(), nullptr, nullptr, text, &size) == ERROR_SUCCESS
                   ? reinterpret_cast<const char*>(text)
                   : "-";
    }

    /// The values a and b go, and all entries.
    void Reset()
    {
        RegKey key;
        ASSERT_EQ(OpenKeyPath("HKEY_USERS\\K", *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
        for (const char* name : {"a", "b"}) {
            static_cast<void>(RegDeleteValueA(key.Get(), name));
        }
        std::vector<std::size_t> all(fixture.document.Journal().size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        EXPECT_TRUE(fixture.document.RemoveEntries(all));
        list.FillFromJournal();
    }

    void Run(CommandId command) { list.Run(command); }

    void SelectRows(int first, int last)
    {
        list.selectionModel()->select(QItemSelection(list.model()->index(first, 0), list.model()->index(last, 0)),
                                      QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }

    std::vector<std::string> Column(int column)
    {
        std::vector<std::string> texts;
        for (int row = 0; row < list.model()->rowCount(); ++row) {
            texts.push_back(list.model()->index(row, column).data().toString().toStdString());
        }
        return texts;
    }

    fixtures::WindowFixture fixture;
    fixtures::RecordingParent parent;
    CJournalList list{fixture.context, fixture.document, &parent};
    fixtures::ModelWatch watch{*list.model()};
};

TEST_F(JournalList, ShowsEachChangeAsItIsMade)
{
    EXPECT_EQ(list.model()->rowCount(), 0);
    Delete("a");
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewValue("HKEY_USERS\\K\\b", "", REG_SZ, "x")));
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::RenameKey("HKEY_USERS\\K\\c", "d")));
    EXPECT_THAT(Column(JournalListModel::kOperation), ElementsAre("deleted", "new", "renamed"));
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("a", "(Default)", "c"));
    EXPECT_THAT(Column(JournalListModel::kKey),
                ElementsAre("HKEY_USERS\\K\\a", "HKEY_USERS\\K\\b", "HKEY_USERS\\K\\c"));
    EXPECT_FALSE(fixture.document.ApplyChange(ChangeRecord::DeleteKey("HKEY_USERS\\K\\none")));
    EXPECT_EQ(list.model()->rowCount(), 3);
}

TEST_F(JournalList, UndoesWhatIsSelectedAndTellsTheTree)
{
    for (const char* name : {"a", "b", "c"}) {
        Delete(name);
    }
    SelectRows(0, 1);
    Run(CommandId::kUndoEntry);
    EXPECT_TRUE(Exists("a") && Exists("b") && !Exists("c"));
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("c"));
    EXPECT_THAT(parent.messages, ElementsAre("refresh "));
    Run(CommandId::kUndoEntry); // nothing is selected any more
    EXPECT_EQ(list.model()->rowCount(), 1);
}

TEST_F(JournalList, AsksBeforeItActsOnAll)
{
    AnswerMessage(QMessageBox::Yes, [this] { Run(CommandId::kUndoAllEntries); }); // there is nothing to ask about
    Delete("a");
    Delete("b");
    EXPECT_THAT(AnswerMessage(QMessageBox::No, [this] { Run(CommandId::kUndoAllEntries); }), HasSubstr("Undo all"));
    EXPECT_EQ(list.model()->rowCount(), 2);
    EXPECT_THAT(AnswerMessage(QMessageBox::No, [this] { Run(CommandId::kRemoveAllEntries); }), HasSubstr("Remove all"));
    EXPECT_EQ(list.model()->rowCount(), 2);
    AnswerMessage(QMessageBox::Yes, [this] { Run(CommandId::kUndoAllEntries); });
    EXPECT_TRUE(Exists("a") && Exists("b"));
    EXPECT_THAT(parent.messages, ElementsAre("refresh ", "show again"));
    Delete("c");
    AnswerMessage(QMessageBox::Yes, [this] { Run(CommandId::kRemoveAllEntries); });
    EXPECT_THAT(fixture.document.Journal(), IsEmpty());
    EXPECT_FALSE(Exists("c"));
}

TEST_F(JournalList, AsksOnceForAllLaterChangesAndOnceForAllThatChangedOutside)
{
    constexpr auto kYes = QMessageBox::Yes;
    constexpr auto kNo = QMessageBox::No;
    const auto undoFirstTwo = [this] {
        SelectRows(0, 1);
        Run(CommandId::kUndoEntry);
    };
    struct Case {
        const char* what;
        bool isLater;   ///< a later change stands on the first entry
        bool isOutside; ///< the second one was changed outside the journal
        std::vector<QMessageBox::StandardButton> answers;
        std::string values;  ///< of a and b
        std::size_t entries; ///< that are left
    };
    for (const Case& c : {
             Case{"nothing stands against it", false, false, {}, "--", 0},
             Case{"a later change, wanted", true, false, {kYes}, "--", 0},
             Case{"a later change, not wanted", true, false, {kNo}, "3-", 2},
             Case{"changed outside, wanted", false, true, {kYes}, "--", 1}, // what was overwritten
             Case{"changed outside, not wanted", false, true, {kNo}, "-9", 1},
             Case{"both, wanted", true, true, {kYes, kYes}, "--", 1},
             Case{"both, the outside alone", true, true, {kNo, kYes}, "3-", 3},
         }) {
        SCOPED_TRACE(c.what);
        SetValue("a", "1");
        SetValue("b", "2");
        if (c.isLater) {
            SetValue("a", "3");
        }
        if (c.isOutside) {
            StoreBehindItsBack("b", "9");
        }
        EXPECT_EQ(AnswerMessages(c.answers, undoFirstTwo).size(), c.answers.size());
        EXPECT_EQ(Value("a") + Value("b"), c.values);
        EXPECT_EQ(fixture.document.Journal().size(), c.entries);
        EXPECT_EQ(list.model()->rowCount(), static_cast<int>(c.entries));
        Reset();
    }
}

TEST_F(JournalList, NamesTheFirstOfTheLaterChangesAsTheyAre)
{
    SetValue("<b>", "0");
    for (int i = 1; i <= 7; ++i) {
        SetValue("<b>", std::to_string(i));
    }
    SelectRows(0, 0);
    const std::string text = AnswerMessage(QMessageBox::No, [this] { Run(CommandId::kUndoEntry); });
    EXPECT_THAT(text, HasSubstr("(7):\n\nmodified: <b>\nmodified: <b>\n"));
    EXPECT_THAT(text, HasSubstr("and 2 more\n"));
    EXPECT_EQ(Value("<b>"), "7");
    AnswerMessages({QMessageBox::Yes}, [this] { Run(CommandId::kUndoAllEntries); }); // asks about no later ones
    EXPECT_EQ(Value("<b>"), "-");
    SetValue("<b>", "1");
    StoreBehindItsBack("<b>", "9");
    EXPECT_THAT(AnswerMessages({QMessageBox::Yes, QMessageBox::Yes}, [this] { Run(CommandId::kUndoAllEntries); }),
                ElementsAre(HasSubstr("Undo all"), HasSubstr("outside this journal (1):\n\nnew: <b>\n")));
    EXPECT_EQ(Value("<b>"), "-");
}

TEST_F(JournalList, RedoesWhatItUndidUntilTheNextChange)
{
    int told = 0;
    list.FollowFacts([&told] { ++told; });
    Delete("a");
    Delete("b");
    EXPECT_FALSE(list.IsEnabled(CommandId::kRedo));
    Run(CommandId::kRedo);
    EXPECT_THAT(parent.messages, IsEmpty());
    SelectRows(0, 1);
    told = 0;
    Run(CommandId::kUndoEntry);
    EXPECT_TRUE(list.IsEnabled(CommandId::kRedo)); // though no row has the mark
    EXPECT_GT(told, 0);
    parent.messages.clear();
    Run(CommandId::kRedo);
    EXPECT_FALSE(Exists("a") || Exists("b"));
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("a", "b"));
    EXPECT_THAT(parent.messages, ElementsAre("refresh ", "show again"));
    EXPECT_FALSE(list.IsEnabled(CommandId::kRedo));
    SelectRows(1, 1);
    Run(CommandId::kUndoEntry);
    QTest::keyClick(&list, Qt::Key_Y, Qt::ControlModifier);
    EXPECT_FALSE(Exists("b"));
    SelectRows(1, 1);
    Run(CommandId::kUndoEntry);
    bool wasEnabled = true;
    list.FollowFacts([&] { wasEnabled = list.IsEnabled(CommandId::kRedo); });
    Delete("c");
    EXPECT_FALSE(wasEnabled);
}

TEST_F(JournalList, TellsOfWhatCanNotBeRedone)
{
    SetValue("a", "1");
    SelectRows(0, 0);
    Run(CommandId::kUndoEntry);
    StoreBehindItsBack("a", "9");
    EXPECT_THAT(AnswerMessage(QMessageBox::Ok, [this] { Run(CommandId::kRedo); }), HasSubstr("HKEY_USERS\\K"));
    EXPECT_EQ(Value("a"), "9");
    EXPECT_EQ(list.model()->rowCount(), 0);
}

TEST_F(JournalList, ShowsNamesWithSeparatorsFromTheirSeals)
{
    const std::string key = "HKEY_USERS\\K\\x;y";
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewKey("HKEY_USERS\\K", "x;y")));
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewValue(key, "a;b;c", REG_DWORD, "1")));
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::DeleteValue(key, "a;b;c", REG_DWORD)));
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("x;y", "a;b;c", "a;b;c"));
    EXPECT_THAT(Column(JournalListModel::kKey), ElementsAre("HKEY_USERS\\K", key, key));
    EXPECT_THAT(Column(JournalListModel::kOperation), ElementsAre("new", "new", "deleted"));
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_THAT(parent.messages, ElementsAre("go " + key + " a;b;c"));
    SelectRows(0, 1);
    AnswerMessages({QMessageBox::Yes}, [this] { Run(CommandId::kUndoEntry); });
    EXPECT_EQ(list.model()->rowCount(), 0);
    Delete("a");
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("a")) << "and not what was in that row before";
}

TEST_F(JournalList, GoesByTheReturnKeyToWhatAChangeLeft)
{
    Delete("a");
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::RenameKey("HKEY_USERS\\K\\b", "d")));
    SetValue("", "x");
    EXPECT_TRUE(fixture.document.ApplyChange(ChangeRecord::RenameValue("HKEY_USERS\\K", "", "n", REG_SZ)));
    QTest::keyClick(&list, Qt::Key_Return); // no row has the mark
    parent.missingKeys = {"HKEY_USERS\\K\\a"};
    for (int row = 0; row < list.model()->rowCount(); ++row) {
        list.setCurrentIndex(list.model()->index(row, 0));
        QTest::keyClick(&list, Qt::Key_Return);
    }
    EXPECT_THAT(parent.messages, ElementsAre("go HKEY_USERS\\K\\a", "go HKEY_USERS\\K", "go HKEY_USERS\\K\\d",
                                             "go HKEY_USERS\\K (Default)", "go HKEY_USERS\\K n"));
}

TEST_F(JournalList, RemovesByTheDeleteKeyAndLeavesByTheTabKey)
{
    Delete("a");
    Delete("b");
    Delete("c");
    SelectRows(1, 2);
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_THAT(Column(JournalListModel::kWhat), ElementsAre("a"));
    QTest::keyClick(&list, Qt::Key_Tab);
    EXPECT_THAT(parent.messages, ElementsAre("next page"));
}

TEST_F(JournalList, TellsOfAnEntryThatCanNotBeUndoneAndKeepsIt)
{
    Delete("a");
    const std::filesystem::path folder = fixture.document.DataFolder();
    for (const std::filesystem::path& place : {folder, folder.parent_path() / "snapshots"}) {
        for (const auto& file : std::filesystem::directory_iterator(place)) {
            if (file.path().filename() != "index") {
                std::filesystem::remove(file);
            }
        }
    }
    SelectRows(0, 0);
    EXPECT_THAT(AnswerMessage(QMessageBox::Ok, [this] { Run(CommandId::kUndoEntry); }),
                HasSubstr("could not be undone"));
    EXPECT_EQ(list.model()->rowCount(), 1);
    EXPECT_FALSE(Exists("a"));
}

TEST_F(JournalList, MarksARowWhenItGetsTheFocus)
{
    Delete("a");
    Delete("b");
    EXPECT_FALSE(list.IsEnabled(CommandId::kUndoEntry));
    parent.show();
    QApplication::setActiveWindow(&parent);
    list.setFocus();
    EXPECT_EQ(list.currentIndex().row(), 0);
    EXPECT_TRUE(list.selectionModel()->isRowSelected(0, {}));
    EXPECT_TRUE(list.IsEnabled(CommandId::kUndoEntry));
    EXPECT_FALSE(list.IsEnabled(CommandId::kGoToHit)); // not the journal's
}

} // namespace
} // namespace tolvar
