#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "hex_bytes.h"
#include "hexctrl/hex_view.h"

namespace tolvar {
namespace {

constexpr int kColumns = 4 + 4 * 16 + 3; // what 16 bytes in a row need

TEST(HexView, TheAddressesAreAsWideAsTheLastOne)
{
    for (const auto& [last, digits] : {std::pair<std::uint64_t, int>{0, 4},
                                       {0xFFFF, 4},
                                       {0x10000, 5},
                                       {0xFFFFF, 5},
                                       {0x100000, 6},
                                       {0xFFFFFFFF, 8},
                                       {0x100000000, 9},
                                       {~std::uint64_t{0}, 16}}) {
        EXPECT_EQ(HexAddressDigits(last), digits) << last;
    }
    CHexData data(std::make_shared<HexClipboard>());
    HexView view(data);
    view.Layout(100, 8);
    EXPECT_EQ(view.AddressDigits(), HexView::kEmptyAddressDigits);
    Loaded(data, "0123456789", 0xFFF6);
    view.Layout();
    EXPECT_EQ(view.AddressDigits(), 5) << "of the append position";
}

TEST(HexView, FitsAsManyBytesAsTheWindowHasRoomFor)
{
    struct Case {
        int columns, rowStep, bytesPerRow;
    };
    for (const Case& c : {
             Case{kColumns, 1, 16}, Case{kColumns - 1, 1, 15}, Case{kColumns + 3, 1, 16}, Case{kColumns + 4, 1, 17},
             Case{kColumns + 4, 8, 16}, Case{kColumns - 1, 8, 8}, Case{kColumns - 40, 8, 6}, // fewer than a step
             Case{15, 1, 2}, Case{14, 1, 16}, // too narrow: the rows stay as they were
         }) {
        SCOPED_TRACE(testing::Message() << c.columns << " columns, step " << c.rowStep);
        CHexData data(std::make_shared<HexClipboard>());
        Loaded(data, std::string(400, 'x'));
        HexView view(data);
        view.SetRowStep(c.rowStep);
        view.Layout(c.columns, 8);
        EXPECT_EQ(view.BytesPerRow(), c.bytesPerRow);
        EXPECT_EQ(view.RowLength(), 4 + 4 * c.bytesPerRow + 4);
        EXPECT_EQ(view.RowCount(), 400 / c.bytesPerRow + 1);
    }
}

TEST(HexView, ScrollsFromTheFirstRowToTheLastPage)
{
    struct Case {
        std::size_t size;
        std::int64_t before, wanted, after;
    };
    for (const Case& c : {
             Case{400, 0, 5, 5},
             Case{400, 0, 18, 18},
             Case{400, 0, 19, 18}, // 26 rows with that of the append position
             Case{399, 0, 99, 17},
             Case{400, 5, -1, 0},
             Case{127, 0, 1, 0},
             Case{128, 0, 1, 1},
             Case{0, 0, 3, 0},
         }) {
        SCOPED_TRACE(testing::Message() << c.size << " bytes, row " << c.wanted);
        CHexData data(std::make_shared<HexClipboard>());
        Loaded(data, std::string(c.size, 'x'));
        HexView view(data);
        view.Layout(kColumns, 8);
        view.ScrollTo(c.before);
        EXPECT_EQ(view.ScrollTo(c.wanted), c.after != c.before);
        EXPECT_EQ(view.TopRow(), c.after);
        EXPECT_EQ(view.TopOffset(), 16 * c.after);
        EXPECT_FALSE(view.ScrollBy(0));
    }
}

TEST(HexView, ShowsAnOffsetByTheShortestWay)
{
    struct Case {
        std::int64_t offset, topRow; // from row 5 to 12 in view
    };
    for (const Case& c : {Case{80, 5}, Case{79, 4}, Case{0, 0}, Case{207, 5}, Case{208, 6}, Case{400, 18}}) {
        CHexData data(std::make_shared<HexClipboard>());
        Loaded(data, std::string(400, 'x'));
        HexView view(data);
        view.Layout(kColumns, 8);
        view.ScrollTo(5);
        EXPECT_EQ(view.Show(c.offset), c.topRow != 5) << c.offset;
        EXPECT_EQ(view.TopRow(), c.topRow) << c.offset;
    }
}

TEST(HexView, ALayoutKeepsTheLastByteInViewInSight)
{
    struct Case {
        const char* name;
        std::int64_t topRow;
        int columns, rows;
        std::int64_t after;
    };
    for (const Case& c : {
             Case{"at the start", 0, kColumns - 32, 4, 0},
             Case{"the same", 5, kColumns, 8, 5},
             Case{"half as wide", 5, kColumns - 32, 8, 18},   // byte 207 in row 25
             Case{"not a multiple", 5, kColumns - 24, 8, 13}, // 10 bytes: byte 207 in row 20
             Case{"lower", 5, kColumns, 4, 9},                // row 12
             Case{"higher", 5, kColumns, 10, 3},
             Case{"no row at all", 5, kColumns, 0, 12},
             Case{"at the end", 18, kColumns - 32, 8, 42}, // byte 399 in row 49
             Case{"all of it", 5, kColumns, 40, 0},
             Case{"too narrow", 5, 14, 4, 5},
         }) {
        CHexData data(std::make_shared<HexClipboard>());
        Loaded(data, std::string(400, 'x'));
        HexView view(data);
        view.Layout(kColumns, 8);
        view.ScrollTo(c.topRow);
        view.Layout(c.columns, c.rows);
        EXPECT_EQ(view.TopRow(), c.after) << c.name;
        Loaded(data, "");
        view.Layout();
        EXPECT_EQ(view.TopRow(), 0) << c.name;
    }
}

TEST(HexView, KnowsWhatLiesUnderACell)
{
    CHexData data(std::make_shared<HexClipboard>());
    Loaded(data, std::string(400, 'x'));
    HexView view(data);
    view.Layout(kColumns, 8);
    view.ScrollTo(2);
    struct Case {
        int column, row;
        HexPane pane;
        std::int64_t offset;
        HexZone zone;
    };
    for (const Case& c : {
             Case{0, 0, HexPane::kAddress, 32, HexZone::kNone},
             Case{5, 1, HexPane::kAddress, 48, HexZone::kNone},
             Case{6, 0, HexPane::kHex, 32, HexZone::kHighDigit},
             Case{7, 0, HexPane::kHex, 32, HexZone::kLowDigit},
             Case{8, 0, HexPane::kHex, 32, HexZone::kNone},
             Case{9, 1, HexPane::kHex, 49, HexZone::kHighDigit},
             Case{51, 0, HexPane::kHex, 47, HexZone::kHighDigit},
             Case{53, 0, HexPane::kHex, 47, HexZone::kNone},
             Case{54, 0, HexPane::kHex, 47, HexZone::kNone},
             Case{55, 0, HexPane::kText, 32, HexZone::kBytes},
             Case{56, 0, HexPane::kText, 33, HexZone::kBytes},
             Case{70, 0, HexPane::kText, 47, HexZone::kBytes},
             Case{99, 0, HexPane::kText, 47, HexZone::kBytes},
             Case{55, -1, HexPane::kText, 16, HexZone::kBytes},
         }) {
        SCOPED_TRACE(testing::Message() << c.column << "," << c.row);
        const HexView::Hit hit = view.At(c.column, c.row);
        EXPECT_EQ(hit.pane, c.pane);
        EXPECT_EQ(hit.offset, c.offset);
        EXPECT_EQ(hit.zone, c.zone);
    }
}

} // namespace
} // namespace tolvar
