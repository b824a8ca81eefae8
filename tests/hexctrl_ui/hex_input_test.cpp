#include <map>
#include <sstream>

#include <QMessageBox>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include "hex_window.h"

namespace tolvar {
namespace {

/// Plays steps on a real control and describes what they leave.
///
///   Left, PageDown ...   a key; S- with Shift, C- with Ctrl
///   'x                   a typed character
///   @h5.1 @t5 @a2        a click on the second digit of byte 5 in view (.2: the blank behind it), on its character, on
///                        the address of row 2; @h5.0>t9 drags
///   undo, redo           the messages
class Player {
public:
    explicit Player(HexHost& host) : m_control(*host.control) {}

    void Play(const std::string& steps)
    {
        std::istringstream words(steps);
        for (std::string word; words >> word;) {
            Step(word);
            QCoreApplication::processEvents();
        }
    }

    /// Column, zone, start and end where it differs: "h1:5", "t3:2-6".
    [[nodiscard]] std::string Caret() const
    {
        const CHexData& data = m_control.Data();
        const HexSelection& selection = data.selection;
        std::string text = std::string(1, "aht"[static_cast<int>(data.pane)]) + std::to_string(selection.zone) + ":" +
                           std::to_string(selection.start);
        return selection.start == selection.end ? text : text + "-" + std::to_string(selection.end);
    }

private:
    void Step(std::string word)
    {
        if (word[0] == '@') {
            Mouse(word.substr(1));
            return;
        }
        if (word == "undo" || word == "redo") {
            m_control.Send(word == "undo" ? HexMessage::kUndo : HexMessage::kRedo);
            return;
        }
        Qt::KeyboardModifiers modifiers;
        for (; word.size() > 2 && word[1] == '-'; word.erase(0, 2)) {
            modifiers |= word[0] == 'S' ? Qt::ShiftModifier : Qt::ControlModifier;
        }
        if (word[0] == '\'') {
            QTest::keyClick(&m_control, word[1], modifiers);
            return;
        }
        static const std::map<std::string, Qt::Key> kKeys = {
            {"Left", Qt::Key_Left},           {"Right", Qt::Key_Right},       {"Up", Qt::Key_Up},
            {"Down", Qt::Key_Down},           {"Home", Qt::Key_Home},         {"End", Qt::Key_End},
            {"PageUp", Qt::Key_PageUp},       {"PageDown", Qt::Key_PageDown}, {"Delete", Qt::Key_Delete},
            {"Backspace", Qt::Key_Backspace}, {"Insert", Qt::Key_Insert},     {"Shift", Qt::Key_Shift}};
        ASSERT_TRUE(kKeys.contains(word)) << word;
        QTest::keyClick(&m_control, kKeys.at(word), modifiers);
    }

    void Mouse(const std::string& word)
    {
        const std::size_t arrow = word.find('>');
        QTest::mousePress(m_control.viewport(), Qt::LeftButton, {}, Point(word.substr(0, arrow)));
        const QPoint last = Point(arrow == std::string::npos ? word : word.substr(arrow + 1));
        if (arrow != std::string::npos) {
            const QPoint at = m_control.viewport()->mapTo(m_control.window(), last);
            QMouseEvent move(QEvent::MouseMove, last, at, m_control.viewport()->mapToGlobal(last), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(m_control.viewport(), &move);
        }
        QTest::mouseRelease(m_control.viewport(), Qt::LeftButton, {}, last);
    }

    [[nodiscard]] QPoint Point(const std::string& place) const
    {
        const HexView& view = m_control.View();
        const int number = std::stoi(place.substr(1));
        const int row = place[0] == 'a' ? number : number / view.BytesPerRow();
        const int byte = number % view.BytesPerRow();
        const std::size_t dot = place.find('.');
        int column = 1;
        if (place[0] == 'h') {
            column = view.HexColumn(byte) + (dot == std::string::npos ? 0 : place[dot + 1] - '0');
        } else if (place[0] == 't') {
            column = view.TextColumn(byte);
        }
        const HexCells& cells = m_control.Cells();
        return {cells.XOf(column) + cells.CharWidth() / 2, cells.YOf(row) + cells.CharHeight() / 2};
    }

    HexControl& m_control;
};

struct InputCase {
    std::size_t size; ///< of the data: bytes 0, 1, 2 ...
    const char* steps;
    const char* caret;
    const char* bytes = nullptr; ///< null: unchanged
    std::int64_t topRow = 0;
};

constexpr InputCase kCases[] = {
    // The caret goes from digit to digit, and stops at both ends.
    {3, "", "h1:0"},
    {3, "Right", "h2:0"},
    {3, "Right Right", "h1:1"},
    {3, "Right Right Left", "h2:0"},
    {3, "Left", "h1:0"},
    {3, "Right Right Right Right Right Right", "h1:3"},
    {3, "Right Right Right Right Right Right Right", "h1:3"},
    {3, "@h2.1 Right Left", "h2:2"},
    {40, "Down Down", "h1:32"},
    {40, "Down Down Down", "h1:40"},
    {40, "@h20.1 Up", "h2:4"},
    {40, "@h9.0 Up", "h1:9"},
    {0, "Right Left Up Down Delete Backspace", "h1:0", ""},
    // In the text column it goes from byte to byte.
    {3, "@t1", "t3:1"},
    {3, "@t1 Right", "t3:2"},
    {4, "@t1 Left", "t3:0"},
    {4, "@t1 Left Left", "t1:0"},
    {4, "@t3 Right", "t1:4"},
    // Clicks.
    {40, "@h5.0", "h1:5"},
    {40, "@h5.1", "h2:5"},
    {40, "@h5.2", "h0:5"},
    {40, "@h39.0", "h2:39"}, // the last byte, as behind it
    {40, "@h47.0", "h2:39"},
    {40, "@h127.1", "h2:39"},
    {40, "@t44", "t2:39"},
    {40, "@h15.2", "h0:15"},
    {40, "@a1", "a0:0"},
    {40, "@a1 '5", "a0:0"},
    {40, "@a1 Right", "h1:1"},
    // Selections by the mouse end in order.
    {40, "@h5.0>h9.1", "h3:5-9"},
    {40, "@h9.1>h5.0", "h3:5-9"},
    {40, "@t5>t20", "t3:5-20"},
    {40, "@h5.0>t20", "h3:5-20"},
    {40, "@h5.0>h60.1", "h3:5-39"},
    {40, "@a0>h9.0", "a0:0"},
    {40, "@h5.0>h9.0 Right", "h1:10"},
    {40, "@h5.0>h9.0 Left", "h2:4"},
    {40, "@h5.0>h9.0 Up", "h3:5-9"},
    {40, "@h20.0>h22.0 Up", "h1:4"},
    {40, "@h20.0>h22.0 Down", "h2:36"},
    // Selections by Shift.
    {40, "Shift", "h3:0"},
    {40, "S-Right", "h3:0-1"},
    {40, "S-Right S-Right S-Left", "h3:0-1"},
    {40, "@h5.0 S-Left", "h3:4-5"},
    {40, "@h5.0 S-Left S-Left", "h3:4"}, // letting Shift go between them has put the ends in order
    {40, "S-Left", "h3:0"},
    {40, "@h5.0 S-Down", "h3:5-21"},
    {40, "@h20.0 S-Up", "h3:4-20"},
    {40, "@h5.0 S-Up", "h3:5"},
    {40, "@h5.0 S-End", "h3:5-39"},
    {40, "@h5.0 S-Home", "h3:0-5"},
    {40, "@h5.0 S-PageDown", "h3:5-39"},
    {40, "Down Down Down S-Right", "h3:40"},
    {40, "Down Down Down S-Left", "h2:39"},
    // Digits go over digits; capitals and letters behind f are none.
    {3, "Right Right 'a", "h2:1", "00 a1 02 "},
    {3, "Right Right 'a 'f", "h1:2", "00 af 02 "},
    {3, "Right '7", "h1:1", "07 01 02 "},
    {3, "S-'A", "h3:0"},
    {3, "'g", "h1:0"},
    {9, "@h8.1 Right '5 '6", "h1:10", "00 01 02 03 04 05 06 07 08 56 "},
    {2, "@h1.1 Right 'g", "h1:2", "00 01 30 "},
    {40, "@h5.0>h9.0 '1", "h3:5-9"},
    {3, "'a undo", "h3:0"},
    {3, "'a undo 'b", "h2:0", "b0 01 02 "},
    {3, "'a undo redo", "h3:0", "a0 01 02 "},
    {0, "'4 'd", "h1:1", "4d "},
    // Inserting puts a byte in front.
    {3, "Insert Right Right 'a", "h2:1", "00 a1 01 02 "},
    {3, "Insert Right Right 'a 'b", "h1:2", "00 ab 01 02 "},
    {3, "Insert 'a undo undo", "h1:0"},
    {3, "Insert Insert 'a", "h2:0", "a0 01 02 "},
    {1, "@h0.1 Right Insert 'a", "h2:1", "00 a0 30 "},
    // Characters.
    {3, "@t1 'A 'z", "t1:3", "00 41 7a "},
    {3, "@t0 S-'A", "t3:1", "41 01 02 "},
    {3, "@t1 Insert 'x", "t3:2", "00 78 01 02 "},
    {1, "@t0 Right 'x", "t1:2", "00 78 "},
    {1, "@t0 Right S-'X S-'Y", "t1:3", "00 58 59 "},
    {1, "@t0 Right Insert 'x", "t3:2", "00 78 30 "},
    // Delete zeroes, and goes on behind.
    {3, "@h1.0 Delete", "h1:2", "00 00 02 "},
    {4, "@h1.0>h2.0 Delete", "h1:3", "00 00 00 03 "},
    {4, "@t1 Delete", "t3:2", "00 00 02 03 "},
    {2, "@h1.1 Right Delete", "h1:2"},
    {4, "@h2.0 Backspace", "h1:2", "00 00 02 03 "},
    {4, "@h2.1 Backspace", "h1:3", "00 01 00 03 "},
    {4, "@h1.0>h2.0 Backspace", "h2:2", "00 00 00 03 "},
    {4, "@h1.0 'f @a0 Backspace Delete", "a0:0", "00 f1 02 03 "},
    // Keys with Ctrl are the host's.
    {40, "C-Right C-Down C-Delete C-'a C-End", "h1:0"},
    // Pages move the view and leave the caret; the caret brings its row into view.
    {400, "PageDown", "h1:0", nullptr, 8},
    {400, "PageDown PageDown PageDown PageDown", "h1:0", nullptr, 18},
    {400, "PageDown PageDown PageUp", "h1:0", nullptr, 8},
    {400, "End", "h1:0", nullptr, 18},
    {400, "End Home", "h1:0", nullptr, 0},
    {400, "End Right", "h2:0", nullptr, 0},
    {40, "PageDown End", "h1:0", nullptr, 0},
    {400, "@h112.0 Down", "h1:128", nullptr, 1},
    {400, "@h127.1 Right", "h1:128", nullptr, 1},
    {400, "End @h0.0 Up", "h1:272", nullptr, 17},
    {400, "S-End", "h3:0-399", nullptr, 17},
    {400, "S-PageDown", "h3:0-128", nullptr, 8},
    {400, "@h5.0 S-PageDown S-PageDown S-PageUp", "h3:5-133", nullptr, 8},
};

TEST(HexInput, KeysAndMouseMoveCaretSelectionAndBytes)
{
    for (const InputCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.size << " bytes: " << c.steps);
        HexHost host;
        host.LoadCount(c.size);
        const std::string before = host.HexOfAll();
        Player player(host);
        player.Play(c.steps);
        EXPECT_EQ(player.Caret(), c.caret);
        EXPECT_EQ(host.HexOfAll(), c.bytes == nullptr ? before : c.bytes);
        EXPECT_EQ(host.control->View().TopRow(), c.topRow);
    }
}

TEST(HexInput, AReadOnlyControlIsMarkedAndCopiedButNotChanged)
{
    HexHost host;
    host.LoadCount(40);
    host.control->SetReadOnly(true);
    const std::string before = host.HexOfAll();
    Player player(host);
    player.Play("'a Delete Backspace Insert 'b @t3 'x @h2.0 S-Right");
    EXPECT_EQ(host.HexOfAll(), before);
    EXPECT_EQ(player.Caret(), "h3:2-3");
    EXPECT_FALSE(host.control->IsModified());
}

TEST(HexInput, TypingEndsAtItsLimitWithAWordToTheUser)
{
    HexHost host;
    host.LoadCount(3000);
    for (std::size_t typed = 0; typed < CHexData::kTypingLimit; ++typed) {
        QTest::keyClick(host.control, '7');
    }
    EXPECT_EQ(host.control->Data().Log().Count(), CHexData::kTypingLimit);
    EXPECT_EQ(host.control->findChild<QDialog*>(), nullptr);
    QTest::keyClick(host.control, '7');
    EXPECT_EQ(host.control->Data().Log().Count(), CHexData::kTypingLimit);
    const auto* box = host.control->findChild<QMessageBox*>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), QStringLiteral("Too many data was changed"));
    EXPECT_EQ(box->windowTitle(), QString());
}

TEST(HexInput, TheWheelMovesThreeRowsATurnAndARowForAThirdOfIt)
{
    HexHost host;
    host.LoadCount(1000);
    const auto turn = [&](int delta) {
        QWheelEvent wheel({10, 10}, host.control->viewport()->mapToGlobal(QPointF(10, 10)), {}, {0, delta},
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(host.control->viewport(), &wheel);
        return host.control->View().TopRow();
    };
    EXPECT_EQ(turn(120), 0);
    EXPECT_EQ(turn(-120), 3);
    EXPECT_EQ(turn(-240), 6) << "however far it is turned at once";
    EXPECT_EQ(turn(120), 3);
    EXPECT_EQ(turn(-30), 3);
    EXPECT_EQ(turn(-30), 4);
}

TEST(HexInput, AHeldMouseAtTheEdgeScrollsOn)
{
    HexHost host;
    host.LoadCount(1000);
    QWidget* viewport = host.control->viewport();
    const QPoint bottom(host.control->Cells().XOf(8), viewport->height() - 2);
    QTest::mousePress(viewport, Qt::LeftButton, {}, QPoint(host.control->Cells().XOf(7), 12));
    QMouseEvent move(QEvent::MouseMove, bottom, viewport->mapToGlobal(bottom), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &move);
    EXPECT_EQ(host.control->View().TopRow(), 1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return host.control->View().TopRow() >= 4; }, 5000));
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, bottom);
    EXPECT_GT(host.control->Data().selection.end, 16 * 9);
}

} // namespace
} // namespace tolvar
