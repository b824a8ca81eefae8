#include <string>
#include <vector>

#include <QMessageBox>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include "hex_window.h"

namespace tolvar {
namespace {

/// Zone, start and end where it differs: "1:5", "3:2-6".
std::string Caret(const HexHost& host)
{
    const HexSelection& selection = host.control->Data().selection;
    const std::string text = std::to_string(selection.zone) + ":" + std::to_string(selection.start);
    return selection.start == selection.end ? text : text + "-" + std::to_string(selection.end);
}

void Press(const HexHost& host, const std::vector<QKeyCombination>& keys)
{
    for (const QKeyCombination& key : keys) {
        QTest::keyClick(host.control, key.key(), key.keyboardModifiers());
    }
}

TEST(HexInput, EachKeyReachesTheModel)
{
    using namespace Qt;
    struct Case {
        std::vector<QKeyCombination> keys;
        const char* caret;
        std::int64_t topRow = 0;
        const char* firstBytes = "00 01 02 ";
    };
    for (const Case& c : {
             Case{{Key_Right, Key_Right, Key_Left}, "2:0"},
             Case{{Key_Down, Key_Down, Key_Up}, "1:16"},
             Case{{Key_PageDown, Key_PageDown, Key_PageUp}, "1:0", 8},
             Case{{Key_End}, "1:0", 18},
             Case{{Key_End, Key_Home}, "1:0"},
             Case{{Key_Right, Key_Right, Key_Delete}, "1:2", 0, "00 00 02 "},
             Case{{Key_Right, Key_Right, Key_Right, Key_Right, Key_Backspace}, "1:2", 0, "00 00 02 "},
             // With Shift it selects, and letting Shift go puts the ends in order.
             Case{{Key_Shift}, "3:0"},
             Case{{SHIFT | Key_PageDown}, "3:0-128", 8},
             Case{{Key_Down, SHIFT | Key_Left, SHIFT | Key_Left}, "3:15"},
             // With Ctrl it is the host's.
             Case{{CTRL | Key_Right, CTRL | Key_Down, CTRL | Key_Delete, CTRL | Key_A, CTRL | Key_End}, "1:0"},
             // Characters.
             Case{{Key_Right, Key_Right, Key_A}, "2:1", 0, "00 a1 02 "},
             Case{{Key_Insert, Key_A}, "2:0", 0, "a0 00 01 "},
             Case{{Key_Insert, Key_Insert, Key_A}, "2:0", 0, "a0 01 02 "},
         }) {
        SCOPED_TRACE(testing::Message() << c.keys.size() << " keys to " << c.caret);
        HexHost host;
        host.LoadCount(400);
        Press(host, c.keys);
        EXPECT_EQ(Caret(host), c.caret);
        EXPECT_EQ(host.HexOfAll().substr(0, 9), c.firstBytes);
        EXPECT_EQ(host.control->View().TopRow(), c.topRow);
    }
}

TEST(HexInput, TheMouseReachesTheModelByTheCellUnderIt)
{
    struct Cell {
        int column, row;
    };
    struct Case {
        Cell press, release;
        const char* caret;
        HexPane pane;
    };
    for (const Case& c : {
             Case{{6 + 3 * 4 + 1, 1}, {6 + 3 * 4 + 1, 1}, "2:20", HexPane::kHex},
             Case{{6 + 3 * 5 + 2, 0}, {6 + 3 * 5 + 2, 0}, "0:5", HexPane::kHex},
             Case{{55 + 4, 1}, {55 + 4, 1}, "3:20", HexPane::kText},
             Case{{1, 1}, {1, 1}, "0:0", HexPane::kAddress},
             Case{{6 + 3 * 9, 0}, {6 + 3 * 5, 0}, "3:5-9", HexPane::kHex},
             Case{{55 + 5, 0}, {55 + 4, 1}, "3:5-20", HexPane::kText},
         }) {
        SCOPED_TRACE(c.caret);
        HexHost host;
        host.LoadCount(40);
        QWidget* viewport = host.control->viewport();
        const HexCells& cells = host.control->Cells();
        const auto middle = [&](Cell cell) {
            return QPoint(cells.XOf(cell.column) + cells.CharWidth() / 2, cells.YOf(cell.row) + cells.CharHeight() / 2);
        };
        const QPoint end = middle(c.release);
        QTest::mousePress(viewport, Qt::LeftButton, {}, middle(c.press));
        QMouseEvent move(QEvent::MouseMove, end, viewport->mapToGlobal(end), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &move);
        QTest::mouseRelease(viewport, Qt::LeftButton, {}, end);
        EXPECT_EQ(Caret(host), c.caret);
        EXPECT_EQ(host.control->Data().pane, c.pane);
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
    Press(host, {Qt::Key_A, Qt::Key_Delete});
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
