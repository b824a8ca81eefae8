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

constexpr const char* kChanged = "changed"; // to what is the model's

constexpr InputCase kCases[] = {
    // Each key does its own.
    {40, "", "h1:0"},
    {40, "Right Right Left", "h2:0"},
    {40, "Down Down Up", "h1:16"},
    {40, "@h1.0 Delete", "h1:2", kChanged},
    {40, "@h2.0 Backspace", "h1:2", kChanged},
    {400, "PageDown PageDown PageUp", "h1:0", nullptr, 8},
    {400, "End", "h1:0", nullptr, 18},
    {400, "End Home", "h1:0"},
    // With Shift it selects, and letting Shift go puts the ends in order.
    {40, "Shift", "h3:0"},
    {40, "@h5.0 S-Left S-Left", "h3:4"},
    {400, "S-PageDown", "h3:0-128", nullptr, 8},
    // With Ctrl it is the host's.
    {40, "C-Right C-Down C-Delete C-'a C-End", "h1:0"},
    // Characters.
    {3, "Right Right 'a", "h2:1", "00 a1 02 "},
    {3, "Insert Right Right 'a", "h2:1", "00 a1 01 02 "},
    {3, "Insert Insert 'a", "h2:0", "a0 01 02 "},
    {3, "@t0 S-'A", "t3:1", "41 01 02 "},
    {1, "@t0 Right S-'X S-'Y", "t1:3", "00 58 59 "},
    {3, "'a undo", "h3:0"},
    {3, "'a undo redo", "h3:0", "a0 01 02 "},
    // The mouse, in each column.
    {40, "@h20.1", "h2:20"},
    {40, "@h5.2", "h0:5"},
    {40, "@t20", "t3:20"},
    {40, "@a1", "a0:0"},
    {40, "@h9.1>h5.0", "h3:5-9"},
    {40, "@t5>t20", "t3:5-20"},
    {400, "End @h0.0 Up", "h1:272", nullptr, 17},
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
        if (c.bytes == kChanged) {
            EXPECT_NE(host.HexOfAll(), before);
        } else {
            EXPECT_EQ(host.HexOfAll(), c.bytes == nullptr ? before : c.bytes);
        }
        EXPECT_EQ(host.control->View().TopRow(), c.topRow);
    }
}

TEST(HexInput, TypingEndsAtItsLimitWithAWordToTheUser)
{
    HexHost host;
    host.LoadCount(40);
    for (std::size_t change = 0; change < CHexData::kTypingLimit; ++change) {
        host.control->Send(HexMessage::kOverwrite);
    }
    EXPECT_EQ(host.control->findChild<QDialog*>(), nullptr);
    QTest::keyClick(host.control, '7');
    const auto* box = host.control->findChild<QMessageBox*>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), QStringLiteral("Too many data was changed"));
    EXPECT_EQ(box->windowTitle(), QString());
}

TEST(HexInput, AReadOnlyControlDoesNotChange)
{
    HexHost host;
    host.LoadCount(40);
    host.control->SetReadOnly(true);
    Player(host).Play("'a Delete S-Right");
    EXPECT_FALSE(host.control->IsModified());
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
