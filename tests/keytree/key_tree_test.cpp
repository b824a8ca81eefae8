#include <cstdlib>

#include <QCoreApplication>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/model_watch.h"
#include "fixtures/window_fixture.h"
#include "keytree/key_aliases.h"
#include "keytree/key_tree.h"
#include "ui/native_text.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using testing::ElementsAre;
using testing::IsEmpty;

class KeyTree : public testing::Test {
protected:
    KeyTree()
    {
        fixture.Mount("HKEY_LOCAL_MACHINE\\X",
                      {.name = u"ROOT",
                       .subkeys = {{.name = u"Alpha", .subkeys = {{.name = u"Deep", .subkeys = {{.name = u"Deeper"}}}}},
                                   {.name = u"Beta"},
                                   {.name = u"Secret", .subkeys = {{.name = u"Inside"}}}}});
    }

    CKeyTree& Tree()
    {
        if (!m_pTree) {
            m_pTree = std::make_unique<CKeyTree>(fixture.context, nullptr, &parent);
            m_pWatch = std::make_unique<fixtures::ModelWatch>(*m_pTree->model());
        }
        return *m_pTree;
    }

    /// Texts of the children that the tree has for the item at `path`, expanding nothing.
    std::vector<std::string> Children(const std::string& path)
    {
        std::vector<std::string> texts;
        const QModelIndex item = Item(path);
        for (int row = 0; row < Tree().Model().rowCount(item); ++row) {
            texts.push_back(Tree().Model().Text(Tree().Model().index(row, 0, item)));
        }
        return texts;
    }

    QModelIndex Item(std::string_view path)
    {
        QModelIndex item = Tree().Model().TreeRoot();
        while (!path.empty() && item.isValid()) {
            const std::size_t end = std::min(path.find('\\'), path.size());
            item = Tree().Model().Child(item, path.substr(0, end));
            path.remove_prefix(std::min(end + 1, path.size()));
        }
        return item;
    }

    int GoTo(const std::string& path, const std::string& row = {})
    {
        GoToKeyMessage message(GoToKeyMessage::Sender::kPane, {path, row});
        QCoreApplication::sendEvent(&Tree(), &message);
        return message.result;
    }

    void Refresh(const std::string& path = {})
    {
        RefreshKeyMessage message(path);
        QCoreApplication::sendEvent(&Tree(), &message);
    }

    std::string Selected() { return Tree().Model().FullPath(Tree().currentIndex()); }

    fixtures::WindowFixture fixture;
    fixtures::RecordingParent parent;

private:
    std::unique_ptr<CKeyTree> m_pTree;
    std::unique_ptr<fixtures::ModelWatch> m_pWatch;
};

TEST_F(KeyTree, ShowsTheRootsOfThePlatformInTheOrderOfTheirNames)
{
    EXPECT_THAT(Children(""), ElementsAre("HKEY_CLASSES_ROOT", "HKEY_CURRENT_CONFIG", "HKEY_CURRENT_USER",
                                          "HKEY_LOCAL_MACHINE", "HKEY_USERS"));
    for (const auto& [platform, root] : {std::pair{"9x", "HKEY_DYN_DATA"}, {"4.0", "HKEY_PERFORMANCE_DATA"}}) {
        setenv("TOLVAR_PLATFORM", platform, 1);
        const KeyTreeModel model(fixture.context, nullptr);
        EXPECT_EQ(model.rowCount(model.TreeRoot()), 6);
        EXPECT_TRUE(model.Child(model.TreeRoot(), root).isValid());
    }
    unsetenv("TOLVAR_PLATFORM");
}

TEST_F(KeyTree, TellsTheRightPaneAndTheStatusBarOfASelectionInTheirOrder)
{
    EXPECT_EQ(GoTo("HKEY_LOCAL_MACHINE\\X\\Alpha", "value"), 0);
    EXPECT_THAT(parent.messages,
                ElementsAre("roots", "page 1002", "key X\\Alpha", "status HKEY_LOCAL_MACHINE\\X\\Alpha", "row value"));
    EXPECT_NE(Tree().SelectedKey(), nullptr);
    parent.messages.clear();
    Tree().SelectTreeRoot();
    EXPECT_THAT(parent.messages, ElementsAre("roots")); // and the status bar keeps its text
    EXPECT_EQ(Tree().SelectedKey(), nullptr);
}

TEST_F(KeyTree, FillsAKeyWhenItIsExpandedAndOnlyOnce)
{
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE"), IsEmpty());
    GoTo("HKEY_LOCAL_MACHINE\\X");
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\X"), ElementsAre("Alpha", "Beta", "Secret"));
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\X\\Alpha"), IsEmpty());
    EXPECT_TRUE(Tree().Model().hasChildren(Item("HKEY_LOCAL_MACHINE\\X\\Alpha")));
    EXPECT_FALSE(Tree().Model().hasChildren(Item("HKEY_LOCAL_MACHINE\\X\\Beta")));
    fixture.Mount("HKEY_LOCAL_MACHINE\\X\\New", {.name = u"ROOT"});
    Tree().collapse(Item("HKEY_LOCAL_MACHINE\\X"));
    GoTo("HKEY_LOCAL_MACHINE\\X");
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\X"), ElementsAre("Alpha", "Beta", "Secret"));
}

TEST_F(KeyTree, TakesThePlusSignFromARootThatTurnsOutToBeEmpty)
{
    Tree().resize(300, 400);
    Tree().show();
    ASSERT_TRUE(Tree().Model().hasChildren(Item("HKEY_USERS")));
    Tree().expand(Item("HKEY_USERS"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !Tree().isExpanded(Item("HKEY_USERS")); }));
    EXPECT_FALSE(Tree().Model().hasChildren(Item("HKEY_USERS")));
}

TEST_F(KeyTree, ShowsARefusedKeyAsOneWithoutChildren)
{
    fixture.check.refused = {"HKEY_LOCAL_MACHINE\\X\\Secret", "HKEY_CLASSES_ROOT\\Y\\Secret"};
    fixture.Mount("HKEY_CLASSES_ROOT\\Y", {.name = u"ROOT", .subkeys = {{.name = u"Open"}, {.name = u"Secret"}}});
    GoTo("HKEY_LOCAL_MACHINE\\X");
    GoTo("HKEY_CLASSES_ROOT\\Y");
    const auto icon = [this](const char* path) {
        return Tree().Model().data(Item(path), Qt::DecorationRole).value<QIcon>().cacheKey();
    };
    EXPECT_NE(icon("HKEY_LOCAL_MACHINE\\X\\Secret"), icon("HKEY_LOCAL_MACHINE\\X\\Beta"));
    EXPECT_FALSE(Tree().Model().hasChildren(Item("HKEY_LOCAL_MACHINE\\X\\Secret")));
    EXPECT_EQ(icon("HKEY_CLASSES_ROOT\\Y\\Secret"), icon("HKEY_CLASSES_ROOT\\Y\\Open")); // this root shows no refusals
}

TEST_F(KeyTree, GoesToAPathByItsExactNames)
{
    struct Case {
        const char* path;
        int answer;
        const char* selected;
    };
    GoTo("HKEY_LOCAL_MACHINE\\X\\Beta");
    for (const Case& c : {
             Case{"HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper", 0, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper"},
             Case{"hkey_local_machine\\X", 1, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper"},
             Case{"HKEY_LOCAL_MACHINE\\X\\alpha", 1, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper"},
             Case{"HKEY_LOCAL_MACHINE\\X\\None\\Deep", 1, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper"},
             Case{"../", 0, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep"},
             Case{"./None", 0, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep"},
             Case{"./Deeper", 0, "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep\\Deeper"},
             Case{"HKEY_LOCAL_MACHINE\\", 0, "HKEY_LOCAL_MACHINE"}, // as the last key is stored for a root
             Case{"../", 0, ""},
             Case{"../", 0, ""}, // nothing is above the tree root
             Case{"./HKEY_USERS", 0, "HKEY_USERS"},
         }) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(GoTo(c.path), c.answer);
        EXPECT_EQ(Selected(), c.selected);
    }
}

TEST_F(KeyTree, ListsTheSameKeyAgainWhenAPaneGoesToItTwice)
{
    GoTo("HKEY_LOCAL_MACHINE\\X");
    parent.messages.clear();
    GoTo("HKEY_LOCAL_MACHINE\\X");
    EXPECT_THAT(parent.messages, ElementsAre("roots", "page 1002", "key X", "status HKEY_LOCAL_MACHINE\\X"));
    parent.messages.clear();
    GoToKeyMessage fromAddressBar(GoToKeyMessage::Sender::kAddressBar, {"HKEY_LOCAL_MACHINE\\X", {}});
    QCoreApplication::sendEvent(&Tree(), &fromAddressBar);
    EXPECT_THAT(parent.messages, IsEmpty());
}

TEST_F(KeyTree, ReadsARefreshedKeyAnewAndKeepsItExpandedOrCollapsed)
{
    for (const bool isExpanded : {true, false}) {
        GoTo("HKEY_LOCAL_MACHINE\\X");
        Tree().setExpanded(Item("HKEY_LOCAL_MACHINE\\X"), isExpanded);
        const std::string added = isExpanded ? "Added1" : "Added2";
        fixture.Mount("HKEY_LOCAL_MACHINE\\X\\" + added, {.name = u"ROOT"});
        parent.messages.clear();
        Tree().RefreshSelected();
        EXPECT_THAT(parent.messages, IsEmpty());
        EXPECT_EQ(Tree().isExpanded(Item("HKEY_LOCAL_MACHINE\\X")), isExpanded);
        EXPECT_TRUE(Tree().Model().hasChildren(Item("HKEY_LOCAL_MACHINE\\X")));
        Tree().expand(Item("HKEY_LOCAL_MACHINE\\X"));
        GoTo("HKEY_LOCAL_MACHINE\\X");
        EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\X"), testing::Contains(added));
        EXPECT_TRUE(std::ranges::is_sorted(Children("HKEY_LOCAL_MACHINE\\X")));
    }
}

TEST_F(KeyTree, RefreshesAPathWithItsMirrorAndListsTheSelectionAgain)
{
    fixture.Mount("HKEY_CLASSES_ROOT\\y", {.name = u"ROOT", .subkeys = {{.name = u"a"}}});
    fixture.Mount("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y", {.name = u"ROOT", .subkeys = {{.name = u"a"}}});
    GoTo("HKEY_CLASSES_ROOT\\y");
    GoTo("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y");
    GoTo("HKEY_LOCAL_MACHINE\\X");
    fixture.Mount("HKEY_CLASSES_ROOT\\y\\b", {.name = u"ROOT"});
    fixture.Mount("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y\\b", {.name = u"ROOT"});
    parent.messages.clear();
    Refresh("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y");
    EXPECT_THAT(parent.messages, ElementsAre("page 1002", "key X", "page 1002", "key X"));
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y"), ElementsAre("a", "b"));
    EXPECT_TRUE(Tree().isExpanded(Item("HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\y")));
    EXPECT_FALSE(Tree().isExpanded(Item("HKEY_CLASSES_ROOT\\y"))); // the mirror is read anew, not opened
    Tree().Model().Fill(Item("HKEY_CLASSES_ROOT\\y"));
    EXPECT_THAT(Children("HKEY_CLASSES_ROOT\\y"), ElementsAre("a", "b"));
}

TEST(MirrorPath, LeadsFromEachRootToItsOther)
{
    for (const auto& [path, mirror] : {
             std::pair{"HKEY_CURRENT_USER\\a", "HKEY_USERS\\.DEFAULT\\a"},
             {"hkey_users\\.default", "HKEY_CURRENT_USER"},
             {"HKEY_CLASSES_ROOT\\x\\y", "HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\x\\y"},
             {"HKEY_LOCAL_MACHINE\\Software\\Classes\\x", "HKEY_CLASSES_ROOT\\x"},
             {"HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES2", ""},
             {"HKEY_USERS\\S-1-5-18", ""},
             {"", ""},
         }) {
        EXPECT_EQ(MirrorPath(path), mirror) << path;
    }
}

TEST_F(KeyTree, ShowsWhatOthersHaveChangedWhereverTheKeyIsSeen)
{
    ASSERT_TRUE(fixture.registry.Link("HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE\\X"));
    const fixtures::CountedFeed feed(fixture.registry, [this](auto keys) { Tree().OnKeysChanged(keys); });
    for (const char* path : {"HKEY_CURRENT_USER\\Alpha\\Deep", "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep"}) {
        GoTo(path);
    }
    parent.messages.clear();
    ASSERT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewKey("HKEY_LOCAL_MACHINE\\X\\Alpha", "Made")));
    EXPECT_THAT(Children("HKEY_LOCAL_MACHINE\\X\\Alpha"), ElementsAre("Deep", "Made"));
    EXPECT_THAT(Children("HKEY_CURRENT_USER\\Alpha"), ElementsAre("Deep", "Made"));
    EXPECT_EQ(Selected(), "HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep");
    ASSERT_TRUE(fixture.document.ApplyChange(
        ChangeRecord::NewValue("HKEY_LOCAL_MACHINE\\X\\Alpha\\Deep", "v", REG_SZ, "text")));
    EXPECT_THAT(parent.messages, IsEmpty()); // the list is filled by its message alone
    ASSERT_TRUE(fixture.document.ApplyChange(ChangeRecord::DeleteKey("HKEY_CURRENT_USER\\Alpha\\Deep")));
    EXPECT_THAT(Children("HKEY_CURRENT_USER\\Alpha"), ElementsAre("Made"));
    EXPECT_EQ(Selected(), "HKEY_LOCAL_MACHINE\\X\\Alpha"); // it has gone: the one above
    EXPECT_THAT(parent.messages, ElementsAre("page 1002", "key X\\Alpha", "status HKEY_LOCAL_MACHINE\\X\\Alpha"));
}

TEST_F(KeyTree, ShowsTheMirrorOfAChangedKeyInAnyCase)
{
    fixture.Mount("HKEY_CLASSES_ROOT\\y", {.name = u"ROOT", .subkeys = {{.name = u"a"}}});
    GoTo("HKEY_CLASSES_ROOT\\y");
    fixture.Mount("HKEY_CLASSES_ROOT\\y\\b", {.name = u"ROOT"});
    ChangedKey other = {"HKEY_LOCAL_MACHINE\\Software\\Classes\\Y", {}, static_cast<unsigned>(KeyChange::kValues)};
    Tree().OnKeysChanged({&other, 1});
    EXPECT_THAT(Children("HKEY_CLASSES_ROOT\\y"), ElementsAre("a")); // only values have changed
    other.changes = static_cast<unsigned>(KeyChange::kAll);
    Tree().OnKeysChanged({&other, 1});
    GoTo("HKEY_CLASSES_ROOT\\y");
    EXPECT_THAT(Children("HKEY_CLASSES_ROOT\\y"), ElementsAre("a", "b"));
}

TEST_F(KeyTree, KeepsANameThatIsNoText)
{
    const std::u16string name = {u'a', 0, 0xD800, u'b'};
    fixture.Mount("HKEY_USERS\\Z", {.name = u"ROOT", .subkeys = {{.name = name}}});
    GoTo("HKEY_USERS\\Z");
    const QModelIndex item = Tree().Model().index(0, 0, Item("HKEY_USERS\\Z"));
    EXPECT_EQ(item.data().toString().toStdU16String(), name);
    EXPECT_EQ(GoTo("HKEY_USERS\\Z\\" + FromQString(item.data().toString())), 0);
}

} // namespace
} // namespace tolvar
