#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <gtest/gtest.h>

#include "hexctrl/hex_dump.h"
#include "hexctrl/ui/hex_classes.h"
#include "hexctrl/ui/hex_editor.h"

namespace tolvar {
namespace {

using namespace std::string_literals;

/// An editor in a window, with texts that tell what they are.
class EditorWindow {
public:
    explicit EditorWindow(const std::string& bytes)
    {
        UnregisterHexClasses(); // and with them the clipboard of the test before
        RegisterHexClasses();
        HexTexts texts;
        texts.badHex = QStringLiteral("bad");
        texts.notFound = QStringLiteral("none");
        texts.wrappedToStart = QStringLiteral("start");
        texts.wrappedToEnd = QStringLiteral("end");
        editor = std::make_unique<HexEditor>(texts, nullptr);
        editor->resize(700, 400);
        editor->show();
        editor->activateWindow();
        control = &editor->Control();
        control->setFocus();
        control->LoadBytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
        QCoreApplication::processEvents();
    }

    [[nodiscard]] std::string Text() const
    {
        const auto bytes = control->Bytes();
        return {bytes.begin(), bytes.end()};
    }
    void Do(HexCommand command) const { editor->Action(command)->trigger(); }
    [[nodiscard]] bool Can(HexCommand command) const { return editor->Action(command)->isEnabled(); }

    std::unique_ptr<HexEditor> editor;
    HexControl* control;
};

TEST(HexEditor, EnablesWhatCanBeDone)
{
    EditorWindow window("0123456789");
    const auto enabled = [&] {
        std::string letters;
        for (const auto& [command, letter] : {std::pair{HexCommand::kUndo, 'u'},
                                              {HexCommand::kRedo, 'r'},
                                              {HexCommand::kCut, 'x'},
                                              {HexCommand::kCopy, 'c'},
                                              {HexCommand::kPaste, 'v'},
                                              {HexCommand::kDelete, 'd'},
                                              {HexCommand::kFind, 'f'}}) {
            letters += window.Can(command) ? letter : '-';
        }
        return letters;
    };
    EXPECT_EQ(enabled(), "------f");
    window.control->SelectBytes(2, 3);
    EXPECT_EQ(enabled(), "--xc-df");
    window.Do(HexCommand::kCut);
    EXPECT_EQ(window.Text(), "0156789");
    EXPECT_EQ(enabled(), "u---v-f");
    window.Do(HexCommand::kUndo);
    EXPECT_EQ(enabled(), "-rxcvdf");
    window.control->SetReadOnly(true);
    EXPECT_EQ(enabled(), "---c--f");
    window.control->LoadBytes({});
    EXPECT_EQ(enabled(), "-------");
}

TEST(HexEditor, CopiesForItselfAndAsHexForOthers)
{
    EditorWindow window("MZ\x90\0x"s);
    window.control->SelectBytes(0, 4);
    window.Do(HexCommand::kCopy);
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("4d 5a 90 00 "));
    window.control->PutCaret(5);
    window.Do(HexCommand::kPaste);
    EXPECT_EQ(window.Text(), "MZ\x90\0xMZ\x90\0"s);
}

TEST(HexEditor, ItsShortcutsWorkWhileTheControlHasTheFocus)
{
    EditorWindow window("0123456789");
    ASSERT_TRUE(window.control->hasFocus());
    QTest::keyClick(window.control, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(window.control->Data().SelectedRange().size, 10);
    QTest::keyClick(window.control, Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(window.control->Data().selection.start, 10);
    QTest::keyClick(window.control, Qt::Key_Tab, Qt::ControlModifier);
    EXPECT_EQ(window.control->Data().pane, HexPane::kText);
    QTest::keyClick(window.control, Qt::Key_Home, Qt::ControlModifier);
    QTest::keyClick(window.control, 'x');
    EXPECT_EQ(window.Text(), "x123456789");
    QTest::keyClick(window.control, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(window.Text(), "0123456789");
    QTest::keyClick(window.control, Qt::Key_F, Qt::ControlModifier);
    EXPECT_TRUE(window.editor->FindBar().isVisible());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(window.editor->FindBar().isVisible());
    EXPECT_TRUE(window.control->hasFocus());
}

TEST(HexEditor, ItsKeysComeBeforeTheShortcutsOfTheWindow)
{
    EditorWindow window("0123456789");
    std::string triggered;
    for (const char* keys : {"Delete", "Ctrl+Z", "Ctrl+Delete", "F3", "Ctrl+Q"}) {
        auto* action = new QAction(window.editor.get());
        action->setShortcut(QKeySequence(QString::fromLatin1(keys)));
        QObject::connect(action, &QAction::triggered, [&, keys] { triggered += keys; });
        window.editor->addAction(action);
    }
    QTest::keyClick(window.control, Qt::Key_Delete);
    EXPECT_EQ(window.Text(), "\000123456789"s);
    QTest::keyClick(window.control, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(window.Text(), "0123456789");
    QTest::keyClick(window.control, Qt::Key_Z, Qt::ControlModifier);
    QTest::keyClick(window.control, Qt::Key_F3);
    EXPECT_EQ(triggered, "");
    QTest::keyClick(window.control, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(triggered, "Ctrl+Q");
    triggered.clear();
    window.control->SelectBytes(0, 4);
    window.editor->FindBar().Open();
    auto* pattern = window.editor->FindBar().findChild<QLineEdit*>();
    QTest::keyClick(pattern, Qt::Key_Delete, Qt::ControlModifier);
    EXPECT_EQ(window.Text(), "0123456789") << "what is typed into the bar deletes no bytes";
}

TEST(HexFindBar, FindsOnFromTheCaretAndRound)
{
    EditorWindow window("ab\0AB ab\xC3\x84 a\0b\0\xC3\xA4"s);
    HexFindBar& bar = window.editor->FindBar();
    bar.Open();
    auto* pattern = bar.findChild<QLineEdit*>();
    auto* kind = bar.findChild<QComboBox*>();
    auto* matchCase = bar.findChild<QCheckBox*>();
    struct Case {
        const char* text;
        HexPatternKind kind;
        bool matchesCase;
        HexFindBar::Direction direction;
        std::int64_t from, hit; ///< -1: none
        const char* message;
    };
    constexpr auto kForward = HexFindBar::Direction::kForward;
    constexpr auto kBackward = HexFindBar::Direction::kBackward;
    for (const Case& c : {
             Case{"61 62", HexPatternKind::kHex, false, kForward, 0, 0, ""},
             Case{"6162", HexPatternKind::kHex, false, kForward, 1, 6, ""},
             Case{"6162", HexPatternKind::kHex, false, kForward, 7, 0, "start"},
             Case{"6162", HexPatternKind::kHex, false, kBackward, 6, 0, ""},
             Case{"6162", HexPatternKind::kHex, false, kBackward, 0, 6, "end"},
             Case{"ff", HexPatternKind::kHex, false, kForward, 0, -1, "none"},
             Case{"616", HexPatternKind::kHex, false, kForward, 0, -1, "bad"},
             Case{"AB", HexPatternKind::kText, false, kForward, 1, 3, ""},
             Case{"AB", HexPatternKind::kText, true, kForward, 4, 3, "start"},
             Case{"\xC3\xA4", HexPatternKind::kText, false, kForward, 0, 8, ""},
             Case{"\xC3\xA4", HexPatternKind::kText, true, kForward, 0, 15, ""},
             Case{"AB", HexPatternKind::kWideText, false, kForward, 0, 11, ""},
             Case{"AB", HexPatternKind::kWideText, true, kForward, 0, -1, "none"},
         }) {
        SCOPED_TRACE(testing::Message() << c.text << " from " << c.from);
        window.control->PutCaret(c.from);
        kind->setCurrentIndex(static_cast<int>(c.kind));
        matchCase->setChecked(c.matchesCase);
        pattern->setText(QString::fromUtf8(c.text));
        EXPECT_EQ(bar.Find(c.direction), c.hit >= 0);
        if (c.hit >= 0) {
            EXPECT_EQ(window.control->Data().selection.start, c.hit);
            EXPECT_EQ(window.control->Data().selection.zone, 3);
        }
        EXPECT_EQ(bar.findChild<QLabel*>()->text(), QString::fromLatin1(c.message));
    }
}

TEST(HexFindBar, GoesOnBehindTheHitThatIsSelected)
{
    EditorWindow window("aaaa");
    HexFindBar& bar = window.editor->FindBar();
    bar.findChild<QLineEdit*>()->setText(QStringLiteral("61"));
    std::string hits;
    for (int turn = 0; turn < 5; ++turn) {
        ASSERT_TRUE(bar.Find(HexFindBar::Direction::kForward));
        hits += std::to_string(window.control->Data().selection.start);
    }
    EXPECT_EQ(hits, "01230");
}

TEST(HexInspectorBar, FollowsTheCaretAndTheBytes)
{
    EditorWindow window("\x01\x02\x03\x04"s);
    const HexInspectorBar& bar = window.editor->Inspector();
    EXPECT_EQ(bar.Value(HexReading::kNumber32), QStringLiteral("67305985"));
    EXPECT_EQ(bar.Value(HexReading::kNumber64), QString());
    window.control->PutCaret(3);
    EXPECT_EQ(bar.Value(HexReading::kNumber8), QStringLiteral("4"));
    QTest::keyClick(window.control, '8');
    window.control->PutCaret(3);
    EXPECT_EQ(bar.Value(HexReading::kNumber8), QStringLiteral("132 / -124"));
    window.control->PutCaret(4);
    EXPECT_EQ(bar.Value(HexReading::kNumber8), QString());
}

} // namespace
} // namespace tolvar
