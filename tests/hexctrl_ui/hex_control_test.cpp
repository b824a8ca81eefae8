#include <fstream>

#include <QAccessible>
#include <QImage>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <gmock/gmock.h>

#include "fixtures/scratch_folder.h"
#include "hex_window.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr qintptr kBad = static_cast<qintptr>(HexCode::kBadParameter);

TEST(HexClasses, AreMadeByNameOnceRegistered)
{
    QWidget host;
    UnregisterHexClasses();
    EXPECT_EQ(CreateHexControl("kdsw_dhex", &host), nullptr);
    EXPECT_EQ(RegisterHexClasses(0), 0U);
    EXPECT_EQ(CreateHexControl("kdsw_dhex", &host), nullptr);
    EXPECT_EQ(RegisterHexClasses(), 0U);
    EXPECT_NE(CreateHexControl("kdsw_dhex", &host), nullptr);
    EXPECT_EQ(CreateHexControl("kdsw_xhex", &host), nullptr);
    HexControl* device = CreateHexControl("kdsw_hex", &host);
    ASSERT_NE(device, nullptr);
    std::uint8_t byte = 1;
    HexDataBlock block{1, 0, 0, &byte};
    EXPECT_EQ(device->Send(HexMessage::kLoad, &block), 0);
    EXPECT_EQ(device->Data().Size(), 0) << "a device isn't loaded with bytes";
    EXPECT_EQ(device->Send(HexMessage::kSetFontHeight, 20), 16);
}

TEST(HexMessages, RefuseNullBlocksAndRangesThatDoNotFit)
{
    HexHost host;
    host.LoadCount(10);
    HexControl& control = *host.control;
    for (const HexMessage message :
         {HexMessage::kLoad, HexMessage::kFetch, HexMessage::kLoadFile, HexMessage::kGetSelection,
          HexMessage::kSetSelection, HexMessage::kShowOffset, HexMessage::kGetSize, HexMessage::kRead,
          HexMessage::kInsert, HexMessage::kDump, HexMessage::kFindFirst, HexMessage::kSetMarks, HexMessage::kSave,
          HexMessage::kSaveAs}) {
        EXPECT_EQ(control.Send(message), kBad) << static_cast<unsigned>(message);
    }
    std::uint8_t bytes[4] = {};
    for (HexDataBlock block :
         {HexDataBlock{4, 0, 7, bytes}, HexDataBlock{-1, 0, 0, bytes}, HexDataBlock{1, 0, -1, bytes},
          HexDataBlock{1, 0, 0, nullptr}, HexDataBlock{1, 0, INT64_MAX, bytes}, HexDataBlock{INT64_MAX, 0, 5, bytes}}) {
        EXPECT_EQ(control.Send(HexMessage::kOverwrite, &block), kBad) << block.size << " at " << block.position;
    }
    HexDataBlock behind{1, 0, 11, bytes};
    EXPECT_EQ(control.Send(HexMessage::kInsert, &behind), kBad);
    for (std::int64_t offset : {std::int64_t{-1}, std::int64_t{11}}) {
        EXPECT_EQ(control.Send(HexMessage::kShowOffset, &offset), kBad);
    }
    EXPECT_EQ(control.Send(0x400 + 1001, 0, 0), 0);
    EXPECT_EQ(control.Data().Log().Count(), 0U);
}

TEST(HexMessages, DoAsTheirNumbersSay)
{
    HexHost host;
    host.LoadCount(10);
    HexControl& control = *host.control;
    std::uint8_t bytes[4] = {0xAA, 0xBB, 0xCC, 0xDD};
    HexDataBlock block{2, 0, 8, bytes};
    EXPECT_EQ(control.Send(0x7F2, 0, reinterpret_cast<quintptr>(&block)), 0);
    EXPECT_EQ(host.HexOfAll(), "00 01 02 03 04 05 06 07 aa bb ");
    HexSelection selection;
    EXPECT_EQ(control.Send(0x7EC, 0, reinterpret_cast<quintptr>(&selection)), 0);
    EXPECT_EQ(selection, (HexSelection{3, 8, 9}));
    block = {3, 0, 0, bytes};
    EXPECT_EQ(control.Send(0x7F3, 0, reinterpret_cast<quintptr>(&block)), 0);
    EXPECT_EQ(host.HexOfAll(), "aa bb cc 00 01 02 03 04 05 06 07 aa bb ");
    EXPECT_EQ(control.Send(0x7F2, 0, 0), 0) << "zeros over what was inserted and is selected";
    EXPECT_EQ(host.HexOfAll(), "00 00 00 00 01 02 03 04 05 06 07 aa bb ");
    EXPECT_EQ(control.Send(0x1789, 0, 0), 1);
    EXPECT_EQ(control.Send(0x178A, 0, 0), 1);
    EXPECT_EQ(control.Send(0x178B, 0, 0), 1);
    EXPECT_EQ(control.Send(0x178C, 0, 0), 1);
    EXPECT_EQ(control.Send(0x178C, 0, 0), 0);
    selection = {3, 1, 10};
    EXPECT_EQ(control.Send(0x7ED, 0, reinterpret_cast<quintptr>(&selection)), 0);
    EXPECT_EQ(control.Send(0x1B75, 0, 0), 1);
    EXPECT_EQ(control.Send(0x1B78, 0, 0), 0);
    EXPECT_EQ(host.HexOfAll(), "00 aa bb ");
    EXPECT_EQ(control.Send(0x1B77, 0, 0), 1);
    EXPECT_EQ(control.Send(0x1B76, 0, 0), 1);
    EXPECT_EQ(host.HexOfAll(), "00 00 00 00 01 02 03 04 05 06 07 aa bb ");
    std::int64_t size = 0;
    EXPECT_EQ(control.Send(0x7F0, 0, reinterpret_cast<quintptr>(&size)), 0);
    EXPECT_EQ(size, 13);
    block = {4, 0, 11, bytes};
    EXPECT_EQ(control.Send(0x7F1, 0, reinterpret_cast<quintptr>(&block)), 0);
    EXPECT_EQ(block.size, 2);
    EXPECT_EQ(bytes[0], 0xAA);
    std::uint8_t text[200];
    block = {2, 0, 11, text};
    EXPECT_EQ(control.Send(0x7F4, 4, reinterpret_cast<quintptr>(&block)), 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(text), "0000              \xAA\xBB   \n");
}

TEST(HexMessages, ShowAnOffsetButNotMoreThanTheLastPage)
{
    HexHost host;
    host.LoadCount(400);
    for (const auto& [offset, top] :
         {std::pair<std::int64_t, std::int64_t>{100, 96}, {399, 18 * 16}, {400, 18 * 16}, {0, 0}}) {
        std::int64_t wanted = offset;
        EXPECT_EQ(host.control->Send(HexMessage::kShowOffset, &wanted), 0);
        std::int64_t first = -1;
        EXPECT_EQ(host.control->Send(HexMessage::kGetTopOffset, &first), 0);
        EXPECT_EQ(first, top) << offset;
    }
    std::uint16_t inView = 0;
    host.control->Send(HexMessage::kGetViewSize, &inView);
    EXPECT_EQ(inView, 16 * HexHost::kRows);
    host.control->verticalScrollBar()->setValue(5);
    EXPECT_EQ(host.control->View().TopRow(), 5);
}

TEST(HexMessages, KeepTheLastByteInSightWhenTheWindowChanges)
{
    HexHost host;
    host.LoadCount(400);
    std::int64_t end = 400;
    host.control->Send(HexMessage::kShowOffset, &end);
    host.control->resize(host.control->width() / 2, host.control->height() + 3 * host.control->Cells().CharHeight());
    const HexView& view = host.control->View();
    EXPECT_LT(view.BytesPerRow(), 16);
    EXPECT_EQ(view.TopRow(), view.RowOf(399) - view.RowsInView() + 1);
    const int kept = view.BytesPerRow();
    host.control->resize(60, host.control->height());
    EXPECT_EQ(view.BytesPerRow(), kept) << "too narrow for two bytes";
}

TEST(HexMessages, AFileIsLoadedAndSavedByThem)
{
    const fixtures::ScratchFolder folder;
    const std::string name = folder / "file";
    std::ofstream(name) << "0123456789";
    HexHost host;
    HexControl& control = *host.control;
    ASSERT_EQ(control.Send(HexMessage::kLoadFile, name.c_str()), 0);
    HexSelection selection{3, 0, 7};
    control.Send(HexMessage::kSetSelection, &selection);
    QSignalSpy modified(&control, &HexControl::ModifiedChanged);
    EXPECT_EQ(control.Send(HexMessage::kDelete), 0);
    EXPECT_EQ(control.Send(HexMessage::kSave), 0);
    EXPECT_EQ(modified.size(), 2);
    std::string content;
    std::ifstream(name) >> content;
    EXPECT_EQ(content, "89");
    EXPECT_EQ(control.Send(HexMessage::kLoadFile, (folder / "none").c_str()), 2);
    EXPECT_EQ(control.Data().Size(), 2) << "what is there stays";
}

TEST(HexNotifications, TellOfScrollsSelectionsAndTheByteUnderTheMouse)
{
    HexHost host;
    host.LoadCount(400);
    QTest::keyClick(host.control, Qt::Key_PageDown);
    QTest::keyClick(host.control, Qt::Key_Right, Qt::ShiftModifier);
    const HexCells& cells = host.control->Cells();
    const QPoint overByte(cells.XOf(host.control->View().HexColumn(3)) + 1, 1);
    QMouseEvent move(QEvent::MouseMove, overByte, host.control->viewport()->mapToGlobal(overByte), Qt::NoButton,
                     Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(host.control->viewport(), &move);
    EXPECT_THAT(host.heard, ElementsAre("over 3 at 3")) << "sent at once, while the others are posted";
    host.heard.clear();
    QCoreApplication::processEvents();
    EXPECT_THAT(host.heard, testing::IsSupersetOf({"scrolled 0 of 128", "selected 0 to 1"}));
    host.heard.clear();
    std::int64_t offset = 200;
    host.control->Send(HexMessage::kShowOffset, &offset);
    QCoreApplication::processEvents();
    EXPECT_THAT(host.heard, IsEmpty()) << "what the host does itself is no news to it";
}

TEST(HexNotifications, OutliveTheirControl)
{
    HexHost host;
    host.LoadCount(400);
    QTest::keyClick(host.control, Qt::Key_PageDown);
    delete host.control;
    QCoreApplication::processEvents();
    EXPECT_THAT(host.heard, ElementsAre("scrolled 128 of 128"));
}

TEST(HexNotifications, ASearchAnswersItsReceiver)
{
    HexHost host;
    host.LoadCount(250);
    std::uint8_t pattern[] = {4, 5};
    HexFindBlock block;
    block.to = 250;
    block.pattern = pattern;
    block.length = 2;
    block.mode = 1;
    const auto find = [&](HexMessage message) {
        host.heard.clear();
        EXPECT_EQ(host.control->Send(message, reinterpret_cast<quintptr>(static_cast<QObject*>(&host)),
                                     reinterpret_cast<quintptr>(&block)),
                  1);
        QCoreApplication::processEvents();
        return host.heard;
    };
    EXPECT_THAT(find(HexMessage::kFindFirst), ElementsAre("found 4"));
    EXPECT_THAT(find(HexMessage::kFindNext), ElementsAre("progress 42", "progress 82", "progress 99", "not found"));
    host.stopAtPercent = 42;
    EXPECT_THAT(find(HexMessage::kFindNext), ElementsAre("progress 42", "not found"));
}

TEST(HexControl, ShowsACaretToWhoComesByAKey)
{
    HexHost host;
    host.LoadCount(10);
    QWidget other(&host);
    other.setFocusPolicy(Qt::StrongFocus);
    other.show();
    HexSelection unmarked;
    for (const auto& [reason, zone] : {std::pair{Qt::MouseFocusReason, 0}, {Qt::TabFocusReason, 1}}) {
        other.setFocus();
        ASSERT_FALSE(host.control->hasFocus());
        host.control->Send(HexMessage::kSetSelection, &unmarked);
        host.control->setFocus(reason);
        EXPECT_EQ(host.control->Data().selection.zone, zone) << reason;
    }
}

TEST(HexControl, TellsItsHostOnceOfEachChange)
{
    HexHost host;
    host.LoadCount(10);
    QSignalSpy content(host.control, &HexControl::ContentChanged);
    QSignalSpy modified(host.control, &HexControl::ModifiedChanged);
    QSignalSpy selection(host.control, &HexControl::SelectionChanged);
    QTest::keyClick(host.control, Qt::Key_Right);
    EXPECT_EQ(content.size(), 0);
    EXPECT_EQ(selection.size(), 1);
    QTest::keyClick(host.control, '7');
    QTest::keyClick(host.control, '8');
    EXPECT_EQ(content.size(), 2);
    ASSERT_EQ(modified.size(), 1);
    EXPECT_TRUE(host.control->IsModified());
    host.control->Send(HexMessage::kUndo);
    host.control->Send(HexMessage::kUndo);
    EXPECT_EQ(content.size(), 4);
    EXPECT_EQ(modified.size(), 2);
    EXPECT_FALSE(host.control->IsModified());
}

/// Colours of the picture that a control draws of itself.
class Picture {
public:
    explicit Picture(const HexControl& control) : m_control(control)
    {
        m_image = const_cast<HexControl&>(control).grab().toImage();
    }

    /// At the upper left corner of a cell, where no glyph is.
    [[nodiscard]] QColor Back(int column, int row) const
    {
        const HexCells& cells = m_control.Cells();
        return At({cells.XOf(column), cells.YOf(row)});
    }
    /// Whether the colour is anywhere in a cell.
    [[nodiscard]] bool Has(int column, int row, const QColor& colour) const
    {
        const HexCells& cells = m_control.Cells();
        for (int y = 0; y < cells.CharHeight(); ++y) {
            for (int x = 0; x < cells.CharWidth(); ++x) {
                if (At({cells.XOf(column) + x, cells.YOf(row) + y}) == colour) {
                    return true;
                }
            }
        }
        return false;
    }

private:
    [[nodiscard]] QColor At(QPoint point) const
    {
        return m_image.pixelColor(m_control.viewport()->mapTo(&m_control, point) * m_image.devicePixelRatio());
    }

    const HexControl& m_control;
    QImage m_image;
};

std::array<std::uint32_t, 19> TellingColours()
{
    std::array<std::uint32_t, 19> numbers{};
    for (std::uint32_t index = 0; index < numbers.size(); ++index) {
        numbers[index] = 0x080000 * index + 0x04; // red in the lowest byte
    }
    return numbers;
}

QColor Told(std::size_t index)
{
    return {4, 0, static_cast<int>(8 * index)};
}

TEST(HexPicture, DrawsEachPartInItsColourOfTheTable)
{
    HexHost host;
    host.LoadCount(40);
    auto numbers = TellingColours();
    host.control->Send(HexMessage::kSetColours, numbers.data());
    host.control->clearFocus(); // no blinking
    HexSelection marks[] = {{3, 30, 31}};
    EXPECT_EQ(host.control->Send(HexMessage::kSetMarks, 1, reinterpret_cast<quintptr>(marks)), 0);
    EXPECT_EQ(host.control->Send(HexMessage::kSetMarks, 0, reinterpret_cast<quintptr>(marks)), kBad);
    HexSelection selection{3, 2, 4};
    host.control->Send(HexMessage::kSetSelection, &selection);
    const HexView& view = host.control->View();
    const Picture picture(*host.control);
    struct Case {
        int column, row;
        std::size_t colour;
    };
    for (const Case& c : {Case{0, 0, 0}, Case{view.HexColumn(0), 0, 6}, Case{view.HexColumn(2), 0, 8},
                          Case{view.HexColumn(2) + 2, 0, 8}, // the blank inside the selection
                          Case{view.HexColumn(4) + 1, 0, 8}, Case{view.HexColumn(4) + 2, 0, 6}, // and the one behind it
                          Case{view.HexColumn(14), 1, 10}, Case{view.TextColumn(0), 0, 12},
                          Case{view.TextColumn(2), 0, 14}, Case{view.TextColumn(14), 1, 16}}) {
        EXPECT_EQ(picture.Back(c.column, c.row), Told(c.colour)) << c.column << "," << c.row;
    }
    EXPECT_TRUE(picture.Has(3, 0, Told(1)));
    EXPECT_TRUE(picture.Has(view.HexColumn(1) + 1, 0, Told(7)));
    EXPECT_TRUE(picture.Has(view.HexColumn(3) + 1, 0, Told(9)));
    EXPECT_TRUE(picture.Has(view.TextColumn(15), 1, Told(17)));
}

TEST(HexPicture, TheCaretIsOneDigitThatBlinksAndShowsInserting)
{
    HexHost host;
    host.LoadCount(40);
    auto numbers = TellingColours();
    host.control->Send(HexMessage::kSetColours, numbers.data());
    if (!host.control->hasFocus()) {
        GTEST_SKIP() << "the platform gives no focus";
    }
    const int column = host.control->View().HexColumn(0);
    QTest::keyClick(host.control, Qt::Key_Right); // the low digit
    EXPECT_EQ(Picture(*host.control).Back(column + 1, 0), Told(8));
    EXPECT_EQ(Picture(*host.control).Back(column, 0), Told(6));
    EXPECT_TRUE(QTest::qWaitFor([&] { return Picture(*host.control).Back(column + 1, 0) == Told(6); }, 5000));
    QTest::keyClick(host.control, Qt::Key_Insert);
    EXPECT_EQ(Picture(*host.control).Back(column + 1, 0), Told(18));
}

TEST(HexPicture, ShowsChangedBytesAndFollowsThePalette)
{
    HexHost host;
    host.LoadCount(40);
    const int column = host.control->View().HexColumn(3);
    const auto changed = [&] { return HexColours::Of(host.control->palette()).changed; };
    EXPECT_FALSE(Picture(*host.control).Has(column, 0, changed()));
    std::uint8_t byte = 0x88;
    HexDataBlock block{1, 0, 3, &byte};
    host.control->Send(HexMessage::kOverwrite, &block);
    host.control->PutCaret(9);
    EXPECT_TRUE(Picture(*host.control).Has(column, 0, changed()));
    QPalette dark(QColor(30, 30, 30), QColor(30, 30, 30));
    host.control->setPalette(dark);
    EXPECT_EQ(Picture(*host.control).Back(column, 0), dark.color(QPalette::Base));
    EXPECT_TRUE(Picture(*host.control).Has(column, 0, changed())) << "in the shade that stands out from the dark";
}

TEST(HexAccessibility, SaysWhereTheCaretIs)
{
    HexHost host;
    host.LoadCount(0x50);
    HexTexts texts;
    texts.controlName = QStringLiteral("Bytes");
    texts.caretAt = QStringLiteral("%1 is %2, %3");
    texts.selected = QStringLiteral("%1 to %2: %3");
    texts.emptyData = QStringLiteral("nothing");
    host.control->SetTexts(texts);
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(host.control);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::EditableText);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Bytes"));
    host.control->PutCaret(0x41);
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("0041 is 41, A"));
    host.control->SelectBytes(0x41, 4);
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("0041 to 0044: 4"));
    host.control->SetReadOnly(true);
    EXPECT_TRUE(interface->state().readOnly);
    host.LoadCount(0);
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("nothing"));
}

} // namespace
} // namespace tolvar
