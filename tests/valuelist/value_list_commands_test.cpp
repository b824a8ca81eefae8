#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/model_watch.h"
#include "fixtures/window_fixture.h"
#include "valuelist/row_tip.h"
#include "valuelist/value_list.h"

namespace tolvar {
namespace {

using fixtures::AnswerMessage;
using fixtures::Bytes;
using fixtures::TextData;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ValueListCommands : public testing::Test {
protected:
    ValueListCommands()
    {
        using namespace std::string_view_literals;
        fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT",
                                        .values = {{u"text", REG_SZ, TextData(u"t")},
                                                   {u"number", REG_DWORD, Bytes({42, 0, 0, 0})},
                                                   {u"bytes", REG_BINARY, Bytes({1, 2})},
                                                   {u"qword", REG_QWORD, Bytes({0, 1, 0, 0, 0, 0, 0, 0})},
                                                   {u"behind", REG_SZ, TextData(u"a\0b"sv)},
                                                   {u"odd", REG_SZ, Bytes({65, 0, 66})},
                                                   {u"list", REG_MULTI_SZ, TextData(u"a;b\0\0"sv)},
                                                   {u"lines", REG_SZ, TextData(u"a\r\nb")},
                                                   {u"short", REG_DWORD, Bytes({1, 2})}},
                                        .subkeys = {{.name = u"Sub"}}});
        list.resize(600, 300);
        parent.resize(600, 300);
        parent.show();
        QApplication::setActiveWindow(&parent);
        list.setFocus();
        Run(CommandId::kShowKeys);
        Show(HKEY_USERS, "K");
        parent.messages.clear();
    }

    void Show(HKEY root, const char* subpath)
    {
        ShowKeyMessage message(root, subpath);
        QCoreApplication::sendEvent(&list, &message);
    }

    void Run(CommandId command) { list.Run(command); }

    void Mark(const char* name)
    {
        SelectRowMessage message(name);
        QCoreApplication::sendEvent(&list, &message);
        EXPECT_EQ(message.result, 0) << name;
    }

    /// The texts of the enabled entries of the context menu that the keyboard opens; one text "-" for no menu.
    std::vector<std::string> MenuEntries()
    {
        std::vector<std::string> texts = {"-"};
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            if (auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
                texts.clear();
                for (const QAction* action : menu->actions()) {
                    if (action->isEnabled() && !action->isSeparator()) {
                        texts.push_back(action->text().section(u'\t', 0, 0).remove(u'&').toStdString());
                    }
                }
                menu->close();
            }
        });
        timer.start(1);
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(1, 1), list.mapToGlobal(QPoint(1, 1)));
        QCoreApplication::sendEvent(&list, &event);
        return texts;
    }

    fixtures::WindowFixture fixture;
    fixtures::RecordingParent parent;
    CValueList list{fixture.context, &parent};
    fixtures::ModelWatch watch{*list.model()};
};

TEST_F(ValueListCommands, OpensEachValueInTheFormThatBringsItBack)
{
    struct Case {
        const char* name;
        const char* page;
        const char* text;
        bool isStored;
    };
    for (const Case& c : {
             Case{"text", "page 1007", "t", false},
             Case{"number", "page 1008", "0000002a", false},
             Case{"bytes", "page 1009", "01 02 ", false},
             Case{"qword", "page 1009", "00 01 00 00 00 00 00 00 ", false},
             Case{"behind", "page 1009", "61 00 00 00 62 00 00 00 ", true},
             Case{"odd", "page 1009", "41 00 42 ", true},
             Case{"list", "page 1009", "61 00 3b 00 62 00 00 00 00 00 00 00 ", true},
             Case{"lines", "page 1009", "61 00 0d 00 0a 00 62 00 00 00 ", true},
             Case{"short", "page 1009", "01 02 ", true},
         }) {
        SCOPED_TRACE(c.name);
        Mark(c.name);
        parent.messages.clear();
        QTest::keyClick(&list, Qt::Key_Return);
        EXPECT_THAT(parent.messages, ElementsAre(c.page));
        EXPECT_EQ(parent.request.text, c.text);
        EXPECT_EQ(parent.request.isStored, c.isStored);
        EXPECT_EQ(parent.request.name, c.name);
        EXPECT_FALSE(parent.request.isNew);
    }
    Mark("qword");
    Run(CommandId::kModifyNumber);
    EXPECT_EQ(parent.messages.back(), "page 1008");
    Mark("bytes");
    Run(CommandId::kModifyNumber);
    EXPECT_EQ(parent.messages.back(), "page 1008"); // no number: nothing more was sent
    EXPECT_EQ(parent.request.name, "qword");
    Mark("(Default)");
    Run(CommandId::kModify);
    EXPECT_EQ(parent.messages.back(), "page 1009"); // the key has none: a new one of bytes
    EXPECT_TRUE(parent.request.isNew);
    EXPECT_EQ(parent.request.type, REG_NONE);
}

TEST_F(ValueListCommands, AsksForAFormForEachKindOfNewValue)
{
    struct Case {
        CommandId command;
        const char* page;
        DWORD type;
    };
    for (const Case& c :
         {Case{CommandId::kNewString, "page 1007", 1}, Case{CommandId::kNewExpandString, "page 1007", 2},
          Case{CommandId::kNewMultiString, "page 1007", 7}, Case{CommandId::kNewDword, "page 1008", 4},
          Case{CommandId::kNewBinary, "page 1009", 3}, Case{CommandId::kNewResourceList, "page 1009", 8},
          Case{CommandId::kNewCustom, "page 1009", 12}}) {
        Run(c.command);
        EXPECT_EQ(parent.messages.back(), c.page);
        EXPECT_EQ(parent.request.type, c.type);
        EXPECT_TRUE(parent.request.isNew);
    }
    parent.messages.clear();
    Show(nullptr, "");
    Run(CommandId::kNewString); // the roots have no values
    EXPECT_THAT(parent.messages, IsEmpty());
}

TEST_F(ValueListCommands, DeletesAllSelectedRowsAtOnce)
{
    list.selectAll(); // the parent row is no row to delete
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_EQ(parent.messages.size(), 12U); // one subkey, the default value, nine values, and: show again
    EXPECT_THAT(parent.messages, Contains("delete -1 Sub"));
    EXPECT_THAT(parent.messages, Contains("delete 4 number"));
    EXPECT_EQ(parent.messages.back(), "show again");
    parent.refusesSubkeys = true;
    Mark("Sub");
    EXPECT_THAT(AnswerMessage(QMessageBox::Ok, [this] { Run(CommandId::kDelete); }), HasSubstr("\"Sub\""));
}

TEST_F(ValueListCommands, RenamesInPlaceAndAsksBeforeItReplaces)
{
    const auto rename = [this](const char* row, const char* name) {
        Mark(row);
        parent.messages.clear();
        QTest::keyClick(&list, Qt::Key_F2);
        auto* const editor = list.findChild<QLineEdit*>();
        ASSERT_NE(editor, nullptr);
        EXPECT_EQ(editor->text(), row);
        editor->selectAll();
        QTest::keyClicks(editor, name);
        QTest::keyClick(editor, Qt::Key_Return);
        QApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    rename("text", "other");
    EXPECT_THAT(parent.messages, ElementsAre("rename 1 text to other"));
    rename("Sub", "Under");
    EXPECT_THAT(parent.messages, ElementsAre("rename -1 Sub to Under"));
    rename("text", "text");
    EXPECT_THAT(parent.messages, IsEmpty());
    EXPECT_THAT(AnswerMessage(QMessageBox::No, [&] { rename("text", "bytes"); }), HasSubstr("Replace"));
    EXPECT_THAT(parent.messages, IsEmpty());
    AnswerMessage(QMessageBox::Yes, [&] { rename("text", "bytes"); });
    EXPECT_THAT(parent.messages, ElementsAre("rename 1 text to bytes"));
    Mark("(Default)");
    Run(CommandId::kRename);
    EXPECT_EQ(list.findChild<QLineEdit*>(), nullptr); // it has no name
}

TEST_F(ValueListCommands, GraysInItsMenuWhatARowCanNotDo)
{
    QGuiApplication::clipboard()->clear();
    const auto entriesOf = [this](const char* row) {
        Mark(row);
        return MenuEntries();
    };
    EXPECT_THAT(entriesOf("text"), ElementsAre("Modify…", "Copy", "Delete", "Rename"));
    EXPECT_THAT(entriesOf("qword"), ElementsAre("Modify…", "Modify as number…", "Copy", "Delete", "Rename"));
    EXPECT_THAT(entriesOf("(Default)"), ElementsAre("Modify…", "Copy", "Delete"));
    EXPECT_THAT(entriesOf("Sub"), ElementsAre("Modify…", "Copy", "Delete", "Rename"));
    EXPECT_THAT(entriesOf("../"), ElementsAre("-"));
    QGuiApplication::clipboard()->setText(QStringLiteral("x"));
    EXPECT_THAT(entriesOf("text"), Contains("Paste"));
    parent.messages.clear();
    QTest::keyClick(&list, Qt::Key_V, Qt::ControlModifier);
    EXPECT_THAT(parent.messages, ElementsAre("paste"));
}

TEST_F(ValueListCommands, ShowsTheTipOfItsRowAfterAWhile)
{
    Mark("number");
    EXPECT_FALSE(list.Tip().isVisible());
    EXPECT_TRUE(QTest::qWaitFor([this] { return list.Tip().isVisible(); }, 2000));
    EXPECT_TRUE(list.Tip().text().contains(QStringLiteral("0000002a")));
    EXPECT_LE(list.Tip().width(), CTipWindow::kMaxWidth);
    Mark("text");
    EXPECT_FALSE(list.Tip().isVisible());
    EXPECT_TRUE(QTest::qWaitFor([this] { return list.Tip().isVisible(); }, 2000));
    EXPECT_TRUE(list.Tip().text().contains(QStringLiteral("REG_SZ")));
    QTest::keyClick(&list, Qt::Key_F2); // the name's editor has the focus now
    EXPECT_FALSE(list.Tip().isVisible());
}

class RowTips : public ValueListCommands {
protected:
    std::vector<std::string> Tip(KeyRow::Kind kind, const char* name, const char* subpath = "K", bool isNT = true)
    {
        const RowTipTexts texts = {"Name",      "Type",  "Length", "Data",  "Changed", "Owner",  "Group",
                                   "Key",       "Class", "Values", "of",    "Subkeys", "called", "none",
                                   "(Default)", "?",     "Up to",  "Up to", "Computer"};
        std::vector<std::string> lines = RowTip(texts, isNT, {HKEY_USERS, subpath}, kind, name);
        for (std::string& line : lines) {
            if (line.starts_with("Changed") || line.starts_with("Owner") || line.starts_with("Group")) {
                line.resize(line.find(':')); // time and accounts are the test's, not the tip's
            }
        }
        return lines;
    }
};

TEST_F(RowTips, TellAllAboutARow)
{
    EXPECT_THAT(Tip(KeyRow::Kind::kValue, "number"), ElementsAre("Name: number", "Owner", "Group", "Type: REG_DWORD",
                                                                 "Length: 4 bytes", "Data: 0000002a", "Changed"));
    EXPECT_THAT(Tip(KeyRow::Kind::kValue, "number", "K", false),
                ElementsAre("Name: number", "Type: REG_DWORD", "Length: 4 bytes", "Data: 0000002a"));
    EXPECT_THAT(Tip(KeyRow::Kind::kValue, "qword"), Contains("Data: 00 01 00 00 00 00 00 00 (256)"));
    EXPECT_THAT(Tip(KeyRow::Kind::kSubkey, "Sub"), ElementsAre("Key: Sub", "Owner", "Group", "Class: none", "Values: 0",
                                                               "of: ", "Subkeys: 0", "called: ", "Changed"));
    EXPECT_THAT(Tip(KeyRow::Kind::kParent, "../", "K\\Sub"), ElementsAre("Up to ", "   HKEY_USERS\\K"));
    EXPECT_THAT(Tip(KeyRow::Kind::kParent, "../", ""), ElementsAre("Up to ", "   Tolvar - Computer"));
    for (const KeyRow::Kind kind : {KeyRow::Kind::kRootKey, KeyRow::Kind::kDenied}) {
        EXPECT_THAT(Tip(kind, "x"), IsEmpty());
    }
    EXPECT_THAT(Tip(KeyRow::Kind::kValue, "gone"), IsEmpty());
    EXPECT_THAT(Tip(KeyRow::Kind::kDefaultValue, ""), IsEmpty());
}

TEST_F(RowTips, NameSixAndShow128Bytes)
{
    std::vector<fixtures::BuiltKey> six;
    std::vector<fixtures::BuiltValue> seven = {{u"", REG_SZ, TextData(u"x")}};
    for (const char16_t letter : {u'a', u'b', u'c', u'd', u'e', u'f'}) {
        six.push_back({.name = std::u16string(1, letter)});
        seven.push_back({std::u16string(1, letter), REG_BINARY, Bytes({1})});
    }
    seven[1].data.resize(128);
    seven[2].data.resize(129);
    fixture.Mount("HKEY_USERS\\L", {.name = u"ROOT", .values = seven, .subkeys = six});
    EXPECT_THAT(Tip(KeyRow::Kind::kSubkey, "L", ""), Contains("called: a, b, c, d, e, f"));
    EXPECT_THAT(Tip(KeyRow::Kind::kSubkey, "L", ""), Contains("of: (Default), a, b, c, d, e, ..."));
    EXPECT_EQ(Tip(KeyRow::Kind::kValue, "a", "L")[5].size(), std::string("Data: ").size() + 3 * 128);
    EXPECT_EQ(Tip(KeyRow::Kind::kValue, "b", "L")[5].size(), std::string("Data:  ...").size() + 3 * 128);
}

} // namespace
} // namespace tolvar
