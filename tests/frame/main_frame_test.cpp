#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QDropEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QSplitter>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/window_fixture.h"
#include "frame/address_bar.h"
#include "frame/down_tabs.h"
#include "frame/down_view.h"
#include "frame/left_tabs.h"
#include "frame/left_view.h"
#include "frame/main_frame.h"
#include "frame/tolvar_view.h"
#include "hexctrl/ui/hex_classes.h"
#include "journal/ui/journal_list.h"
#include "keytree/key_tree.h"
#include "valuelist/value_list.h"

namespace tolvar {
namespace {

using testing::ElementsAre;

/// Notes all messages of panes, as their receivers get them, while it stands.
class MessageLog final : public QObject {
public:
    MessageLog() { qApp->installEventFilter(this); }
    std::vector<std::string> entries;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (dynamic_cast<const PaneMessage*>(event) != nullptr) {
            const std::string receiver = watched->metaObject()->className();
            entries.push_back(receiver.substr(receiver.rfind(':') + 1) + " " +
                              std::to_string(event->type() - QEvent::User));
        }
        return false;
    }
};

class MainFrame : public testing::Test {
protected:
    MainFrame()
    {
        RegisterHexClasses();
        fixture.Mount("HKEY_LOCAL_MACHINE\\X",
                      {.name = u"ROOT", .subkeys = {{.name = u"Sub", .subkeys = {{.name = u"Deep"}}}}});
    }

    CMainFrame& Frame()
    {
        if (!m_pFrame) {
            m_pFrame = std::make_unique<CMainFrame>(fixture.context, fixture.document);
            m_pFrame->ActivateFrame();
            QApplication::setActiveWindow(m_pFrame.get());
            QApplication::processEvents();
        }
        return *m_pFrame;
    }

    void Close() { m_pFrame.reset(); }

    CKeyTree& Tree() { return *Frame().findChild<CKeyTree*>(); }
    CValueList& List() { return *Frame().findChild<CValueList*>(); }
    CJournalList& Journal() { return *Frame().findChild<CJournalList*>(); }

    bool Run(CommandId command) { return Frame().Router().Run(command); }

    void ShowPage(PageId page)
    {
        ShowPageMessage message(page);
        Frame().Route(Frame(), message);
    }

    /// The id of what the right pane shows.
    int ShownPage()
    {
        const QWidget& shown = Frame().RightView().ActivePane().Widget();
        EXPECT_FALSE(shown.isHidden());
        EXPECT_EQ(List().isHidden(), &shown != &List());
        return &shown == &List() ? 1002 : shown.property("pageId").toInt();
    }

    std::vector<int> Columns() { return Sizes(Qt::Horizontal); }
    std::vector<int> Rows() { return Sizes(Qt::Vertical); }

    fixtures::WindowFixture fixture;

private:
    std::vector<int> Sizes(Qt::Orientation orientation)
    {
        for (const QSplitter* splitter : Frame().findChildren<QSplitter*>()) {
            if (splitter->orientation() == orientation) {
                const QList<int> sizes = splitter->sizes();
                return {sizes.begin(), sizes.end()};
            }
        }
        return {};
    }

    std::unique_ptr<CMainFrame> m_pFrame;
};

TEST_F(MainFrame, CarriesASelectionToAllPanesInOrder)
{
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X");
    const MessageLog log;
    Tree().setCurrentIndex(Tree().indexBelow(Tree().currentIndex()));
    EXPECT_THAT(log.entries, ElementsAre("CTolvarView 307", "CValueList 316"));
    EXPECT_EQ(Frame().StatusText(), "HKEY_LOCAL_MACHINE\\X\\Sub");
    EXPECT_EQ(Frame().AddressBar().Address(), "HKEY_LOCAL_MACHINE\\X\\Sub");
    Frame().ShowRoots();
    EXPECT_EQ(Frame().StatusText(), "HKEY_LOCAL_MACHINE\\X\\Sub"); // the last key's
    EXPECT_EQ(Frame().AddressBar().Address(), "");
}

TEST_F(MainFrame, ShowsOnePageAtATimeInTheRightPane)
{
    struct Step {
        PageId page;
        int shown;
    };
    for (const Step& step : {
             Step{PageId::kSearchForm, 1117},
             {PageId::kStringForm, 1007},
             {PageId::kDwordForm, 1008},
             {PageId::kBinaryForm, 1009},
             {PageId::kValueList, 1002},
             {PageId::kBrowser, 1022},
             {PageId::kStringForm, 1007},
             {PageId::kBrowser, 1022},
             {PageId::kNoPage, 1002},
             {PageId::kSearchForm, 1117},
             {static_cast<PageId>(7), 1002},
         }) {
        ShowPage(step.page);
        EXPECT_EQ(ShownPage(), step.shown);
    }
    ShowPage(PageId::kDwordForm);
    FormDoneMessage cancelled(false, nullptr);
    Frame().Route(Frame().RightView(), cancelled);
    EXPECT_EQ(ShownPage(), 1002);
    EXPECT_TRUE(Run(CommandId::kFind));
    const QPointer<QWidget> first = &Frame().RightView().ActivePane().Widget();
    EXPECT_TRUE(Run(CommandId::kFind)); // replaces the form
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(first.isNull());
    EXPECT_EQ(ShownPage(), 1117);
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X"); // a selection drops any form
    EXPECT_EQ(ShownPage(), 1002);
}

TEST_F(MainFrame, MovesTheFocusThroughItsPanes)
{
    const auto visited = [this](CommandId command, int steps) {
        std::vector<Receiver> panes;
        for (int step = 0; step < steps; ++step) {
            EXPECT_TRUE(Run(command));
            panes.push_back(Frame().FocusPane());
        }
        return panes;
    };
    using enum Receiver;
    Frame().LeftView().FocusChild();
    EXPECT_THAT(visited(CommandId::kNextPane, 3), ElementsAre(kRightView, kLeftView, kRightView));
    EXPECT_THAT(visited(CommandId::kPreviousPane, 2), ElementsAre(kLeftView, kRightView));
    EXPECT_TRUE(Run(CommandId::kShowJournal));
    EXPECT_EQ(Frame().FocusPane(), kLowerView);
    EXPECT_THAT(visited(CommandId::kNextPane, 4), ElementsAre(kLeftView, kRightView, kLowerView, kLeftView));
    EXPECT_THAT(visited(CommandId::kPreviousPane, 4), ElementsAre(kLowerView, kRightView, kLeftView, kLowerView));
    EXPECT_TRUE(Run(CommandId::kClosePane)); // what had the focus is gone
    EXPECT_EQ(Frame().FocusPane(), kLeftView);
    EXPECT_TRUE(Tree().hasFocus());
}

TEST_F(MainFrame, LeadsTheTabKeyFromPageToPage)
{
    Frame().LeftView().FocusChild();
    QTest::keyClick(&Tree(), Qt::Key_Tab);
    EXPECT_EQ(Frame().LeftView().Tabs().currentIndex(), CLeftTabs::kHelpTab);
    EXPECT_EQ(ShownPage(), 1022);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_TRUE(Tree().hasFocus());
    EXPECT_EQ(ShownPage(), 1002);
    NextOutputPageMessage closed;
    QCoreApplication::sendEvent(&Frame().LowerView().Tabs(), &closed);
    EXPECT_EQ(closed.result, 1);
    Run(CommandId::kShowJournal);
    std::vector<int> outputs;
    for (int step = 0; step < 5; ++step) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        outputs.push_back(Frame().Output());
    }
    EXPECT_THAT(outputs, ElementsAre(4, 5, 6, 1, 2)); // three without a page
}

TEST_F(MainFrame, TogglesTheLowerPane)
{
    EXPECT_EQ(Rows().back(), 0);
    Run(CommandId::kShowBookmarks);
    EXPECT_EQ(Frame().Output(), 1);
    EXPECT_GT(Rows().back(), 0);
    const std::vector<int> rows = Rows();
    Run(CommandId::kShowJournal); // only another page
    EXPECT_EQ(Frame().Output(), 3);
    EXPECT_EQ(Frame().LowerView().Tabs().currentIndex(), 2);
    EXPECT_EQ(Rows(), rows);
    EXPECT_TRUE(Frame().Router().Action(CommandId::kShowJournal)->isChecked());
    Run(CommandId::kShowOutput5);
    EXPECT_EQ(Frame().Output(), 5);
    QTest::mouseClick(Frame().LowerView().Tabs().tabBar(), Qt::LeftButton, {},
                      Frame().LowerView().Tabs().tabBar()->tabRect(0).center());
    EXPECT_EQ(Frame().Output(), 1);
    Run(CommandId::kShowBookmarks);
    EXPECT_EQ(Frame().Output(), 0);
    EXPECT_EQ(Rows().back(), 0);
    StartSearchMessage none(nullptr);
    Frame().Route(Frame().RightView(), none);
    EXPECT_EQ(Frame().Output(), 0);
}

TEST_F(MainFrame, SharesItsRoomOutByTenThousandths)
{
    Frame();
    EXPECT_EQ(Columns().front(), 720 * 4000 / 10000);
    Run(CommandId::kShowResults);
    EXPECT_EQ(Rows().front(), 510 * 5900 / 10000);
    Frame().resize(1000, 800);
    QApplication::processEvents();
    EXPECT_EQ(Columns().front(), 400);
    EXPECT_EQ(Rows().front(), 472);
    Frame().MakePaneRoom(300, 200);
    EXPECT_EQ(Columns().back(), 300);
    EXPECT_EQ(Rows().front(), 200);
    Frame().MakePaneRoom(0, 0);
    Close();
    EXPECT_EQ(fixture.profile.GetInt("window size", "paneH", 0), 2500);
    EXPECT_EQ(Rows().front(), 200); // opened again as it was
    EXPECT_EQ(Columns().back(), 300);
}

TEST_F(MainFrame, LeavesTheHeightAloneWhileTheLowerPaneIsClosed)
{
    fixture.profile.WriteInt("window size", "paneH", 3000);
    Frame().resize(640, 480);
    QApplication::processEvents();
    EXPECT_EQ(Rows().back(), 0);
    Close();
    EXPECT_EQ(fixture.profile.GetInt("window size", "paneH", 0), 3000);
}

TEST_F(MainFrame, ComesBackAsItWasLeft)
{
    struct Case {
        const char* what;
        Qt::WindowStates states;
        int icon;
        int max;
    };
    for (const Case& c : {
             Case{"normal", Qt::WindowNoState, 0, 0},
             Case{"maximised", Qt::WindowMaximized, 0, 1},
             Case{"minimised", Qt::WindowMinimized, 1, 0},
             Case{"minimised from maximised", Qt::WindowMinimized | Qt::WindowMaximized, 1, 1},
         }) {
        SCOPED_TRACE(c.what);
        fixture.profile.WriteString("window size", "rect", "0100 0060 0700 0560");
        fixture.profile.WriteInt("window size", "icon", 0);
        fixture.profile.WriteInt("window size", "max", 0);
        Frame().setWindowState(c.states);
        QApplication::processEvents();
        Close();
        EXPECT_EQ(fixture.profile.GetInt("window size", "icon", -1), c.icon);
        EXPECT_EQ(fixture.profile.GetInt("window size", "max", -1), c.max);
        EXPECT_EQ(fixture.profile.GetString("window size", "rect", ""), "0100 0060 0700 0560");
        EXPECT_EQ(Frame().windowState() & (Qt::WindowMinimized | Qt::WindowMaximized), c.states);
        Frame().setWindowState(Qt::WindowNoState);
        QApplication::processEvents();
        EXPECT_EQ(Frame().geometry(), QRect(100, 60, 600, 500));
        Close();
    }
}

TEST_F(MainFrame, KeepsItsBarsAndTabs)
{
    EXPECT_TRUE(Run(CommandId::kToolBar));
    EXPECT_FALSE(Frame().Router().Action(CommandId::kToolBar)->isChecked());
    Frame().LeftView().Tabs().FocusTab(CLeftTabs::kHelpTab);
    Run(CommandId::kShowJournal);
    Close();
    EXPECT_FALSE(Frame().Router().Action(CommandId::kToolBar)->isChecked());
    EXPECT_TRUE(Frame().Router().Action(CommandId::kAddressBar)->isChecked());
    EXPECT_EQ(Frame().LeftView().Tabs().currentIndex(), CLeftTabs::kHelpTab);
    EXPECT_EQ(Frame().Output(), 3);
    EXPECT_EQ(Frame().LowerView().Tabs().currentIndex(), 2);
}

TEST_F(MainFrame, GraysTheEditsOfAKeyWhileTheTreeIsHidden)
{
    using enum CommandId;
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    const auto shown = [this] {
        std::vector<bool> enabled;
        for (const CommandId command : {kDelete, kRename, kCut, kCopy}) {
            enabled.push_back(Frame().Router().Action(command)->isEnabled());
        }
        return enabled;
    };
    EXPECT_THAT(shown(), ElementsAre(true, true, true, true));
    Frame().LeftView().Tabs().FocusTab(CLeftTabs::kHelpTab);
    EXPECT_THAT(shown(), ElementsAre(false, false, false, true));
    EXPECT_FALSE(Run(kDelete));
    Frame().LeftView().Tabs().FocusTab(CLeftTabs::kKeyTreeTab);
    EXPECT_THAT(shown(), ElementsAre(true, true, true, true));
}

TEST_F(MainFrame, NeverOpensBesideTheScreens)
{
    fixture.profile.WriteString("window size", "rect", "9000 9000 9500 9400");
    EXPECT_TRUE(Frame().screen()->availableGeometry().intersects(Frame().geometry()));
}

TEST_F(MainFrame, GoesToTheTypedAddress)
{
    struct Case {
        const char* typed;
        const char* shown;
    };
    Frame().LeftView().Tabs().FocusTab(CLeftTabs::kHelpTab);
    for (const Case& c : {Case{"hklm\\x\\SUB", "HKEY_LOCAL_MACHINE\\X\\Sub"},
                          Case{"HKEY_LOCAL_MACHINE\\X\\none", "HKEY_LOCAL_MACHINE\\X\\Sub"}, // is not there: nothing
                          Case{"./deep", "HKEY_LOCAL_MACHINE\\X\\Sub"},                      // compared as it is
                          Case{"./Deep", "HKEY_LOCAL_MACHINE\\X\\Sub\\Deep"}}) {
        Run(CommandId::kTypeAddress);
        QTest::keyClicks(&Frame().AddressBar().Edit(), c.typed);
        QTest::keyClick(&Frame().AddressBar().Edit(), Qt::Key_Return);
        EXPECT_EQ(Frame().StatusText().toStdString(), c.shown) << c.typed;
    }
    EXPECT_EQ(Frame().LeftView().Tabs().currentIndex(), CLeftTabs::kKeyTreeTab);
    EXPECT_TRUE(Tree().hasFocus());
    Run(CommandId::kTypeAddress);
    QTest::keyClicks(&Frame().AddressBar().Edit(), "nonsense");
    QTest::keyClick(&Frame().AddressBar().Edit(), Qt::Key_Escape);
    EXPECT_EQ(Frame().AddressBar().Address(), "HKEY_LOCAL_MACHINE\\X\\Sub\\Deep");
    EXPECT_TRUE(Tree().hasFocus());
    EXPECT_TRUE(Run(CommandId::kParentKey));
    EXPECT_EQ(Frame().StatusText(), "HKEY_LOCAL_MACHINE\\X\\Sub");
}

TEST_F(MainFrame, GivesTheFocusToWhatThePointerRestsOnInTheAddressBar)
{
    QEnterEvent enter(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
    QCoreApplication::sendEvent(&Frame().AddressBar().Edit(), &enter);
    EXPECT_TRUE(Frame().AddressBar().Edit().hasFocus());
    QCoreApplication::sendEvent(&Frame().AddressBar().GoButton(), &enter);
    EXPECT_TRUE(Frame().AddressBar().GoButton().hasFocus());
    EXPECT_EQ(Frame().FocusPane(), Receiver::kLeftView); // no pane has lost anything to it
}

TEST_F(MainFrame, WorksByItsKeys)
{
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    Frame().LeftView().FocusChild();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F6);
    EXPECT_EQ(Frame().FocusPane(), Receiver::kRightView);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(Frame().StatusText(), "HKEY_LOCAL_MACHINE\\X");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_L, Qt::ControlModifier);
    EXPECT_TRUE(Frame().AddressBar().Edit().hasFocus());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(ShownPage(), 1117);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_EQ(ShownPage(), 1002);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F1);
    EXPECT_EQ(ShownPage(), 1022);
}

TEST_F(MainFrame, CarriesAnEditFromTheListToTheJournalAndBack)
{
    Frame().OnInitialUpdate();
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    const auto shownData = [this] {
        CValueList& list = List();
        const QModelIndex row = list.Model().index(2, list.Model().columnCount() - 1);
        return row.data().toString().toStdString();
    };
    ASSERT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewValue("HKEY_LOCAL_MACHINE\\X\\Sub", "v", REG_SZ, "old")));
    DeleteValueMessage showAgain(nullptr);
    Frame().Route(Frame(), showAgain);
    EXPECT_EQ(shownData(), "old");
    MessageLog log;
    emit List().doubleClicked(List().Model().index(2, 0));
    ASSERT_EQ(ShownPage(), 1007);
    EXPECT_FALSE(Run(CommandId::kDelete)); // no row is acted on that can't be seen
    QTest::keyClicks(QApplication::focusWidget(), "very ");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(ShownPage(), 1002);
    EXPECT_EQ(shownData(), "very old");
    EXPECT_THAT(log.entries,
                ElementsAre("CTolvarView 307", "CTolvarView 308", "CKeyTree 308", "CTolvarView 307", "CValueList 316"));
    EXPECT_TRUE(List().hasFocus());
    EXPECT_EQ(fixture.document.Journal().size(), 2U);
    emit List().doubleClicked(List().Model().index(2, 0));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return, Qt::ControlModifier); // nothing was changed
    EXPECT_EQ(fixture.document.Journal().size(), 2U);
    Run(CommandId::kShowJournal);
    CJournalList& journal = Journal();
    EXPECT_EQ(journal.model()->rowCount(), 2);
    journal.setCurrentIndex({});
    EXPECT_FALSE(Run(CommandId::kUndoEntry)); // no row has the mark
    journal.selectionModel()->setCurrentIndex(journal.model()->index(1, 0),
                                              QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    EXPECT_TRUE(Run(CommandId::kUndoEntry));
    EXPECT_EQ(shownData(), "old");
    EXPECT_EQ(journal.model()->rowCount(), 1);
}

TEST_F(MainFrame, RedoesByItsKeyUnlessAFieldOfTextHasTheFocus)
{
    Frame().OnInitialUpdate();
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    ASSERT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewValue("HKEY_LOCAL_MACHINE\\X\\Sub", "v", REG_SZ, "x")));
    EXPECT_FALSE(Run(CommandId::kRedo));
    Run(CommandId::kShowJournal);
    Journal().selectionModel()->setCurrentIndex(Journal().model()->index(0, 0),
                                                QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    EXPECT_TRUE(Run(CommandId::kUndoEntry));
    constexpr auto kKeys = Qt::ControlModifier | Qt::ShiftModifier;
    for (const CommandId form : {CommandId::kNewString, CommandId::kNewBinary}) {
        ASSERT_TRUE(Run(form));
        for (int field = 0; field < 2; ++field) { // the name, and the data
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Z, kKeys);
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Y, Qt::ControlModifier);
            EXPECT_EQ(fixture.document.Journal().size(), 0U) << field;
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        ASSERT_EQ(ShownPage(), 1002);
    }
    Tree().setFocus();
    QTest::keyClick(&Tree(), Qt::Key_Z, kKeys);
    EXPECT_EQ(fixture.document.Journal().size(), 1U);
    EXPECT_EQ(List().Model().index(2, 0).data().toString(), "v");
}

TEST_F(MainFrame, TellsAValueThatIsNamedLikeTheLabelFromTheUnnamedOne)
{
    const std::string key = "HKEY_LOCAL_MACHINE\\Y";
    fixture.Mount(key, {.name = u"ROOT",
                        .values = {{u"", REG_SZ, fixtures::TextData(u"unnamed")},
                                   {u"(Default)", REG_SZ, fixtures::TextData(u"named")}}});
    Frame().OnInitialUpdate();
    Frame().GoToKey(key);
    CValueList& list = List();
    const auto rowOf = [&](const std::string& name) {
        for (int row = 1; row < list.Model().rowCount(); ++row) {
            if (list.Model().Rows().Name(static_cast<std::size_t>(row)) == name) {
                return list.Model().index(row, 0);
            }
        }
        return QModelIndex();
    };
    const auto values = [&] {
        std::string all;
        for (int row = 1; row < list.Model().rowCount(); ++row) {
            const auto place = static_cast<std::size_t>(row);
            all += list.Model().Rows().Name(place) + "=" + list.Model().Rows().Cell(place, KeyColumn::kData) + ";";
        }
        return all;
    };
    const std::string before = values();
    ASSERT_EQ(before, "=unnamed;(Default)=named;");
    const auto act = [&](const std::string& name, const std::function<void(const QModelIndex&)>& change) {
        list.selectionModel()->setCurrentIndex(rowOf(name),
                                               QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        change(rowOf(name));
        std::string after = values();
        Journal().selectAll();
        Journal().Run(CommandId::kUndoEntry);
        EXPECT_EQ(values(), before);
        EXPECT_EQ(fixture.document.Journal().size(), 0U);
        return after;
    };
    const auto remove = [&](const QModelIndex&) { list.Run(CommandId::kDelete); };
    const auto rename = [&](const QModelIndex& row) { list.model()->setData(row, "x", Qt::EditRole); };
    const auto edit = [&](const QModelIndex& row) {
        emit list.doubleClicked(row);
        ASSERT_EQ(ShownPage(), 1007);
        QTest::keyClicks(QApplication::focusWidget(), "re");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return, Qt::ControlModifier);
    };
    EXPECT_EQ(act("(Default)", remove), "=unnamed;");
    EXPECT_EQ(act("", remove), "=(value not set);(Default)=named;");
    EXPECT_EQ(act("(Default)", rename), "=unnamed;x=named;");
    EXPECT_EQ(act("(Default)", edit), "=unnamed;(Default)=renamed;");
    EXPECT_EQ(act("", edit), "=reunnamed;(Default)=named;");
}

TEST_F(MainFrame, TellsItsPanesOnceOfAllThatOneCommandChanges)
{
    ASSERT_TRUE(fixture.registry.Link("HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE\\X"));
    for (const char* name : {"a", "b", "c"}) {
        ASSERT_TRUE(fixture.document.ApplyChange(ChangeRecord::NewKey("HKEY_LOCAL_MACHINE\\X\\Sub", name)));
    }
    Frame().OnInitialUpdate();
    const fixtures::CountedFeed feed(fixture.registry, [this](auto keys) { Frame().OnChanged(keys); });
    Frame().GoToKey("HKEY_CURRENT_USER\\Sub");
    const QPersistentModelIndex alias = Tree().currentIndex();
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    const QPersistentModelIndex own = Tree().currentIndex();
    const auto subkeys = [&] { return std::pair(Tree().model()->rowCount(own), Tree().model()->rowCount(alias)); };
    EXPECT_EQ(subkeys(), std::pair(4, 4));
    List().Run(CommandId::kShowKeys);
    for (int row = 0; row < List().Model().rowCount(); ++row) {
        if (List().Model().Rows().Row(static_cast<std::size_t>(row)).kind == KeyRow::Kind::kSubkey) {
            List().selectionModel()->select(List().Model().index(row, 0),
                                            QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }
    List().Run(CommandId::kDelete);
    EXPECT_EQ(feed.told, 1);
    EXPECT_EQ(subkeys(), std::pair(0, 0));
    ASSERT_EQ(fixture.document.Journal().size(), 7U);
    const QAbstractItemModel& journal = *Journal().model();
    Journal().selectionModel()->select(QItemSelection(journal.index(3, 0), journal.index(6, 0)),
                                       QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    Journal().Run(CommandId::kUndoEntry);
    EXPECT_EQ(feed.told, 2);
    EXPECT_EQ(subkeys(), std::pair(4, 4));
    EXPECT_EQ(Tree().currentIndex(), own);
}

TEST_F(MainFrame, TakesNewValuesFromTheTreeToTheList)
{
    Frame().GoToKey("HKEY_LOCAL_MACHINE\\X\\Sub");
    EXPECT_TRUE(Run(CommandId::kNewDword));
    ASSERT_EQ(ShownPage(), 1008);
    QTest::keyClicks(QApplication::focusWidget(), "count");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QTest::keyClicks(QApplication::focusWidget(), "42");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(ShownPage(), 1002);
    const QModelIndex name = List().Model().index(2, 0);
    EXPECT_EQ(name.data().toString(), "count");
    EXPECT_EQ(name.siblingAtColumn(List().Model().columnCount() - 1).data().toString(), "0x0000002a (42)");
}

TEST_F(MainFrame, TakesDroppedFiles)
{
    QStringList dropped;
    QObject::connect(&Frame(), &CMainFrame::FilesDropped, [&](const QStringList& files) { dropped = files; });
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/a b/hive"), QUrl("https://example.org/x")});
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&Frame(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&Frame(), &drop);
    EXPECT_EQ(dropped, QStringList("/a b/hive"));
}

TEST_F(MainFrame, NamesEverythingThatAPersonCanReach)
{
    Run(CommandId::kShowJournal);
    for (const QWidget* widget : Frame().findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus || widget->objectName().startsWith("qt_")) {
            continue;
        }
        const QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
        ASSERT_NE(face, nullptr);
        EXPECT_FALSE(face->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
    }
}

} // namespace
} // namespace tolvar
