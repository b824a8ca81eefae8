#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/model_watch.h"
#include "fixtures/window_fixture.h"
#include "keytree/key_tree.h"
#include "registry/root_keys.h"
#include "ui/native_text.h"

namespace tolvar {
namespace {

using fixtures::AnswerMessage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class KeyTreeChanges : public testing::Test {
protected:
    KeyTreeChanges()
    {
        fixture.Mount("HKEY_USERS\\K",
                      {.name = u"ROOT",
                       .subkeys = {{.name = u"from", .values = {{u"v", REG_SZ, fixtures::TextData(u"text")}}},
                                   {.name = u"other"},
                                   {.name = u"to", .values = {{u"w", REG_SZ, fixtures::TextData(u"old")}}}}});
        parent.resize(400, 400);
        tree.resize(400, 400);
        parent.show();
        QApplication::setActiveWindow(&parent);
        GoTo("HKEY_USERS\\K\\from");
        parent.messages.clear();
    }

    void GoTo(const std::string& path)
    {
        GoToKeyMessage message(GoToKeyMessage::Sender::kPane, {path, {}});
        QCoreApplication::sendEvent(&tree, &message);
        EXPECT_EQ(message.result, 0) << path;
    }

    void Run(CommandId command) { tree.Run(command); }

    std::string Selected() { return tree.Model().FullPath(tree.currentIndex()); }

    /// The names of the shown children of a key.
    std::vector<std::string> Children(const std::string& path)
    {
        const QModelIndex selected = tree.currentIndex();
        GoTo(path);
        const QModelIndex item = tree.currentIndex();
        std::vector<std::string> names;
        for (int row = 0; row < tree.Model().rowCount(item); ++row) {
            names.push_back(tree.Model().Text(tree.Model().index(row, 0, item)));
        }
        tree.setCurrentIndex(selected);
        return names;
    }

    /// The text of a value; "-" where there is none.
    static std::string Value(const char* key, const char* name)
    {
        RegKey opened;
        char data[64] = {};
        DWORD size = sizeof data;
        return OpenKeyPath(key, *opened.Put(), KEY_READ) == ERROR_SUCCESS &&
                       RegQueryValueExA(opened.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size) ==
                           ERROR_SUCCESS
                   ? data
                   : "-";
    }

    /// Types a name into the label that is being edited.
    void Type(const char* name)
    {
        auto* const editor = tree.findChild<QLineEdit*>();
        ASSERT_NE(editor, nullptr);
        editor->selectAll();
        QTest::keyClicks(editor, name);
        QTest::keyClick(editor, Qt::Key_Return);
        QApplication::processEvents(); // only now the name is taken
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    std::size_t Entries() { return fixture.document.Journal().size(); }

    fixtures::WindowFixture fixture;
    fixtures::RecordingParent parent;
    bool refusesChanges = false;
    CKeyTree tree{fixture.context,
                  [this](const ChangeRecord& change) {
                      return refusesChanges ? Failure(ErrorCode::kAccessDenied) : fixture.document.ApplyChange(change);
                  },
                  &parent};
    fixtures::ModelWatch watch{*tree.model()};
};

TEST_F(KeyTreeChanges, MakesANewKeyAndLetsItsNameBeTyped)
{
    Run(CommandId::kNewKey);
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\from\\New Key N#1");
    Type("My key");
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\from\\My key");
    GoTo("HKEY_USERS\\K\\from");
    for (const char* name : {"New Key N#1", "New Key N#2"}) {
        Run(CommandId::kNewKey);
        Type(name); // as it is: no rename
        GoTo("HKEY_USERS\\K\\from");
    }
    EXPECT_THAT(Children("HKEY_USERS\\K\\from"), ElementsAre("My key", "New Key N#1", "New Key N#2"));
    EXPECT_EQ(Entries(), 4U);
}

TEST_F(KeyTreeChanges, ShowsItsOwnChangesAtTheOtherPathsOfTheKeyToo)
{
    ASSERT_TRUE(fixture.registry.Link("HKEY_CURRENT_USER", "HKEY_USERS\\K"));
    EXPECT_THAT(Children("HKEY_CURRENT_USER\\from"), IsEmpty());
    const fixtures::CountedFeed feed(fixture.registry, [this](auto keys) { tree.OnKeysChanged(keys); });
    for (const char* name : {"b", "a"}) {
        Run(CommandId::kNewKey);
        Type(name);
        tree.setCurrentIndex(tree.currentIndex().parent());
    }
    EXPECT_EQ(feed.told, 4); // one for each change
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\from");
    EXPECT_EQ(tree.currentIndex().model()->index(0, 0, tree.currentIndex()).data().toString(), "b"); // not read anew
    EXPECT_THAT(Children("HKEY_CURRENT_USER\\from"), ElementsAre("a", "b"));
}

TEST_F(KeyTreeChanges, RenamesInPlace)
{
    Run(CommandId::kRename);
    Type("FROM"); // only the case
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\FROM");
    EXPECT_THAT(parent.messages, testing::Contains("status HKEY_USERS\\K\\FROM"));
    EXPECT_EQ(Value("HKEY_USERS\\K\\FROM", "v"), "text");
    EXPECT_THAT(AnswerMessage(QMessageBox::Ok,
                              [this] {
                                  Run(CommandId::kRename);
                                  Type("other");
                              }),
                HasSubstr("already"));
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\FROM");
    Run(CommandId::kRename);
    Type("a\\b"); // the backslash can't be typed
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\ab");
    GoTo("HKEY_USERS");
    Run(CommandId::kRename);
    EXPECT_EQ(tree.findChild<QLineEdit*>(), nullptr); // a root has no name to edit
}

TEST_F(KeyTreeChanges, DeletesWithoutAQuestionAndNeverARoot)
{
    QTest::keyClick(&tree, Qt::Key_Delete);
    EXPECT_THAT(Children("HKEY_USERS\\K"), ElementsAre("other", "to"));
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\other"); // a neighbour
    EXPECT_THAT(parent.messages, testing::Contains("status HKEY_USERS\\K\\other"));
    GoTo("HKEY_USERS");
    QTest::keyClick(&tree, Qt::Key_Delete);
    EXPECT_EQ(Entries(), 1U);
    GoTo("HKEY_USERS\\K\\to");
    refusesChanges = true;
    EXPECT_THAT(AnswerMessage(QMessageBox::Ok, [this] { Run(CommandId::kDelete); }), HasSubstr("denied"));
    EXPECT_EQ(Selected(), "HKEY_USERS\\K\\to");
}

TEST_F(KeyTreeChanges, KeepsItsSelectionWhereAKeyIsReadAnew)
{
    Run(CommandId::kNewKey);
    Type("Below");
    const auto refresh = [this](const char* path) {
        RefreshKeyMessage message(path);
        QCoreApplication::sendEvent(&tree, &message);
        return Selected();
    };
    EXPECT_EQ(refresh("HKEY_USERS\\K"), "HKEY_USERS\\K\\from\\Below");
    EXPECT_EQ(refresh("HKEY_USERS"), "HKEY_USERS\\K\\from\\Below");
    ASSERT_TRUE(fixture.document.UndoEntry(1));                       // the name that was typed
    EXPECT_EQ(refresh("HKEY_USERS\\K\\from"), "HKEY_USERS\\K\\from"); // it has gone: the one above
}

TEST_F(KeyTreeChanges, PastesAValueAndTakesItAwayWhereItWasCut)
{
    const auto paste = [this](const char* text) {
        QGuiApplication::clipboard()->setText(QString::fromUtf8(text));
        PasteValueMessage message;
        QCoreApplication::sendEvent(&tree, &message);
    };
    Run(CommandId::kCut);
    GoTo("HKEY_USERS\\K\\to");
    paste("nothing of the kind");
    EXPECT_EQ(Entries(), 0U);
    paste("HKEY_USERS\\K\\from\\\\[v]");
    EXPECT_EQ(Value("HKEY_USERS\\K\\to", "v"), "text");
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "v"), "-");
    EXPECT_EQ(Entries(), 2U);
    GoTo("HKEY_USERS\\K\\from");
    paste("HKEY_USERS\\K\\to\\\\[w]"); // the cut is used up: this one is a copy
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "w"), "old");
    EXPECT_EQ(Value("HKEY_USERS\\K\\to", "w"), "old");
    for (const char* text : {"HKEY_USERS\\K\\none\\\\[v]", "NO_ROOT\\\\[v]", "HKEY_USERS\\K\\to\\\\[none]"}) {
        EXPECT_THAT(AnswerMessage(QMessageBox::Ok, [&] { paste(text); }), HasSubstr("not found")) << text;
    }
    EXPECT_THAT(AnswerMessage(QMessageBox::No, [&] { paste("HKEY_USERS\\K\\to\\\\[w]"); }), HasSubstr("Replace"));
    EXPECT_EQ(Entries(), 3U);
}

TEST_F(KeyTreeChanges, StoresDeletesAndRenamesWhatTheListAndTheFormsAskFor)
{
    const ValueEdit stored = {"new text", false, REG_SZ, "v", "v"};
    FormDoneMessage form(false, &stored);
    QCoreApplication::sendEvent(&tree, &form);
    EXPECT_EQ(form.result, 0);
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "v"), "new text");
    EXPECT_THAT(parent.messages, ElementsAre("page 1002", "key K\\from"));
    const ValueEdit made = {"made", false, REG_SZ, "n", {}};
    FormDoneMessage another(true, &made);
    QCoreApplication::sendEvent(&tree, &another);
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "n"), "made");
    FormDoneMessage cancelled(false, nullptr);
    QCoreApplication::sendEvent(&tree, &cancelled);
    EXPECT_EQ(cancelled.result, 13);
    const ValueEdit renamed = {std::nullopt, false, REG_SZ, "m", "n"};
    RenameMessage rename(&renamed);
    QCoreApplication::sendEvent(&tree, &rename);
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "m"), "made");
    const ValueEdit gone = {std::nullopt, false, REG_SZ, {}, "m"};
    DeleteValueMessage remove(&gone);
    QCoreApplication::sendEvent(&tree, &remove);
    EXPECT_EQ(Value("HKEY_USERS\\K\\from", "m"), "-");
    GoTo("HKEY_USERS\\K");
    const ValueEdit subkey = {std::nullopt, false, -1, "renamed", "other"};
    RenameMessage renameKey(&subkey);
    QCoreApplication::sendEvent(&tree, &renameKey);
    EXPECT_THAT(Children("HKEY_USERS\\K"), ElementsAre("from", "renamed", "to"));
    const ValueEdit removed = {std::nullopt, false, -1, {}, "renamed"};
    DeleteSubkeyMessage removeKey(&removed);
    QCoreApplication::sendEvent(&tree, &removeKey);
    EXPECT_EQ(removeKey.result, 0);
    EXPECT_FALSE(tree.Model().Child(tree.currentIndex(), "renamed").isValid()); // its item has gone with it
    QCoreApplication::sendEvent(&tree, &removeKey);
    EXPECT_NE(removeKey.result, 0); // it is there no more
    EXPECT_EQ(Entries(), 6U);
}

} // namespace
} // namespace tolvar
