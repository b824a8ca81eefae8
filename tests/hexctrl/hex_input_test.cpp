#include <algorithm>
#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "hex_bytes.h"
#include "hexctrl/hex_dump.h"
#include "hexctrl/hex_input.h"

namespace tolvar {
namespace {

/// A view of 16 bytes a row and 8 rows over the bytes 0, 1, 2 ..., and steps that are played on it.
///
///   Left, PageDown ...   a key; S- with Shift, which is let go again
///   'x                   a typed character
///   Insert               turns inserting on and off
///   @h5.1 @t5 @a2        a click on the second digit of byte 5 in view (.2: the blank behind it), on its character, on
///                        the address of row 2; @h5.0>t9 drags, in the strip that scrolls with ^ (at the top) or v
///   +t9                  a click with Shift
///   undo, redo
class Player {
public:
    explicit Player(std::size_t size, std::pmr::memory_resource* memory = std::pmr::get_default_resource())
        : data(std::make_shared<HexClipboard>(), 64, memory)
    {
        Bytes bytes(size);
        for (std::size_t index = 0; index < size; ++index) {
            bytes[index] = static_cast<std::uint8_t>(index);
        }
        data.Load({static_cast<std::int64_t>(size), 0, 0, bytes.data()});
        data.selection.zone = static_cast<std::int64_t>(HexZone::kHighDigit);
        view.Layout(4 + 4 * 16 + 3, 8);
    }

    void Play(const std::string& steps)
    {
        std::istringstream words(steps);
        for (std::string word; words >> word;) {
            last = Step(word);
        }
    }

    /// Column, zone, start and end where it differs: "h1:5", "t3:2-6".
    [[nodiscard]] std::string Caret() const
    {
        const HexSelection& selection = data.selection;
        std::string text = std::string(1, "aht"[static_cast<int>(data.pane)]) + std::to_string(selection.zone) + ":" +
                           std::to_string(selection.start);
        return selection.start == selection.end ? text : text + "-" + std::to_string(selection.end);
    }

    CHexData data;
    HexView view{data};
    HexInput input{data, view};
    HexEffect last;

private:
    HexEffect Step(std::string word)
    {
        if (word[0] == '@' || word[0] == '+') {
            return Mouse(word.substr(1), word[0] == '+');
        }
        if (word == "undo" || word == "redo") {
            return {.outcome = word == "undo" ? data.Undo() : data.Redo()};
        }
        if (word == "Insert") {
            input.isInserting = !input.isInserting;
            return {};
        }
        if (!word.starts_with("S-")) {
            return word[0] == '\'' ? Type(word[1]) : input.Press(KeyOf(word));
        }
        word.erase(0, 2);
        input.PressWithShift(HexKey::kOther);
        const HexEffect effect = word[0] == '\'' ? Type(word[1]) : input.PressWithShift(KeyOf(word));
        input.ReleaseShift();
        return effect;
    }

    HexEffect Type(char letter) { return input.Type(static_cast<char32_t>(letter), static_cast<std::uint8_t>(letter)); }

    static HexKey KeyOf(const std::string& name)
    {
        static const std::map<std::string, HexKey> kKeys = {
            {"Left", HexKey::kLeft},          {"Right", HexKey::kRight},       {"Up", HexKey::kUp},
            {"Down", HexKey::kDown},          {"Home", HexKey::kHome},         {"End", HexKey::kEnd},
            {"PageUp", HexKey::kPageUp},      {"PageDown", HexKey::kPageDown}, {"Delete", HexKey::kDelete},
            {"Backspace", HexKey::kBackspace}};
        const auto found = kKeys.find(name);
        return found != kKeys.end() ? found->second : HexKey::kOther;
    }

    struct Cell {
        int column, row;
    };

    HexEffect Mouse(const std::string& word, bool isExtending)
    {
        const std::size_t arrow = word.find('>');
        const Cell first = CellOf(word.substr(0, arrow));
        HexEffect effect = input.MouseDown(first.column, first.row, isExtending);
        Cell end = first;
        if (arrow != std::string::npos) {
            std::string place = word.substr(arrow + 1);
            const bool isAtTop = place[0] == '^';
            const bool isAtBottom = place[0] == 'v';
            place.erase(0, isAtTop || isAtBottom ? 1 : 0);
            end = CellOf(place);
            effect = input.Drag(end.column, end.row, isAtTop, isAtBottom);
        }
        const HexEffect up = input.MouseUp(end.column, end.row);
        return arrow != std::string::npos ? effect : up;
    }

    [[nodiscard]] Cell CellOf(const std::string& place) const
    {
        const int number = std::stoi(place.substr(1));
        const int perRow = view.BytesPerRow();
        if (place[0] == 'a') {
            return {1, number};
        }
        const int row = number < 0 ? -1 : number / perRow;
        const int byte = number - row * perRow;
        const std::size_t dot = place.find('.');
        return {place[0] == 't' ? view.TextColumn(byte) : view.HexColumn(byte) + (place[dot + 1] - '0'), row};
    }
};

struct InputCase {
    std::size_t size;
    const char* steps;
    const char* caret;
    const char* bytes = nullptr; ///< null: unchanged
    std::int64_t topRow = 0;
};

constexpr const char* kChanged = "changed"; // and too long to tell how

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
    {40, "@h16.0 Up", "h1:0"},
    {32, "@h16.1 Down", "h1:32"},
    {40, "@t20 Up", "t3:4"},
    {40, "@t5 Down", "t3:21"},
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
    {40, "S-Other", "h3:0"},
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
    {400, "End S-Delete", "h3:0", nullptr, 18},
    {400, "End S-Backspace", "h3:0", nullptr, 18},
    {400, "End S-Other", "h3:0", nullptr, 18},
    {400, "S-PageDown", "h3:0-128", nullptr, 8},
    {400, "@h5.0 S-PageDown S-PageDown S-PageUp", "h3:5-133", nullptr, 8},
    // Every key that selects, at the ends of the data and at its append position.
    {40, "@h16.0 S-Up", "h3:0-16"},
    {40, "@h39.0 S-Right", "h1:39"},
    {40, "@h38.0 S-Right", "h3:38-39"},
    {40, "@h38.0>h39.0 S-Right", "h3:38-39"},
    {40, "@h30.0 S-Down", "h3:30-39"},
    {40, "Down Down Down S-Down S-PageDown S-End", "h3:40"},
    {40, "Down Down Down S-Home", "h3:0-39"},
    {40, "Down Down Down S-Up", "h3:24-39"},
    {40, "@h20.0 S-PageUp", "h3:0-20"},
    {40, "S-Delete S-Backspace", "h3:0"},
    {40, "@a1 S-Right", "a0:0"},
    {0, "S-Right S-Other", "h1:0", ""},
    {3, "@h1.0 S-'5", "h2:1", "00 51 02 "},
    // Clicks with Shift.
    {40, "@h5.0 +h9.1", "h3:5-9"},
    {40, "@h9.0 +t5", "h3:5-9"},
    {40, "@a0 +h9.0", "h1:9"},
    {40, "@h5.0 +a1", "a0:0"},
    {40, "@h5.0 +h100.0", "h3:5-39"},
    // A held mouse outside the view, and in the strips that scroll.
    {400, "@h40.0>^h-11.0", "h3:5-40"},
    {400, "@h40.0>h200.0", "h3:40-120"},
    {400, "@h5.0>vh120.0", "h3:5-136", nullptr, 1},
    {400, "End @h40.0>^h2.0", "h3:274-328", nullptr, 17},
    {400, "End @h40.0>^h-11.0", "h3:277-328", nullptr, 17},
    // Digits and what stands beside them.
    {1, "'0", "h2:0", "00 "},
    {1, "'9 '9", "h1:1", "99 "},
    {1, "'/ ': '` 'g 'G", "h1:0"},
    // What is scrolled to by what is typed or zeroed.
    {400, "@h1.0 End Delete", "h1:2", kChanged, 0},
    {400, "End @h0.0>h1.0 Home Delete", "h1:290", kChanged, 11},
    {400, "End @h0.0>h1.0 Home Backspace", "h2:289", kChanged, 11},
    {128, "End @h96.0 'a", "h2:112", kChanged, 1},
};

TEST(HexInput, KeysAndMouseMoveCaretSelectionAndBytes)
{
    for (const InputCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.size << " bytes: " << c.steps);
        Player player(c.size);
        const std::string before = HexPairs(player.data.Bytes());
        player.Play(c.steps);
        EXPECT_EQ(player.Caret(), c.caret);
        EXPECT_EQ(player.last.outcome, HexOutcome::kDone) << "keys that can't act do nothing, without a sound";
        const std::string after = HexPairs(player.data.Bytes());
        if (c.bytes == kChanged) {
            EXPECT_NE(after, before);
        } else {
            EXPECT_EQ(after, c.bytes == nullptr ? before : c.bytes);
        }
        EXPECT_EQ(player.view.TopRow(), c.topRow);
    }
}

TEST(HexInput, TellsWhatTheHostIsToHear)
{
    struct Case {
        const char* steps;
        bool scrolled, selected;
    };
    for (const Case& c : {
             Case{"Right", false, false},
             Case{"PageDown", true, false},
             Case{"PageUp", false, false},
             Case{"@h127.1 Right", true, false},
             Case{"@h127.0 'a", false, false},
             Case{"@h127.1 'a", true, false},
             Case{"S-Right", false, true},
             Case{"S-Left", false, false},
             Case{"S-PageDown", true, true},
             Case{"End S-Home", true, false},
             Case{"End S-Right", true, true},
             Case{"@h5.0", false, true},
             Case{"@a0", false, false},
             Case{"@h5.0>h9.0", false, true},
             Case{"@h5.0>h5.0", false, false},
             Case{"@h5.0>vh120.0", true, true},
             Case{"@h5.0>^h6.0", false, true},
         }) {
        SCOPED_TRACE(c.steps);
        Player player(400);
        player.Play(c.steps);
        EXPECT_EQ(player.last.scrolled, c.scrolled);
        EXPECT_EQ(player.last.selected, c.selected);
    }
}

TEST(HexInput, ADragMarksUpToTheByteUnderItAndNoneAboveTheView)
{
    struct Case {
        int column, row;
        bool isAtTop, isAtBottom;
        std::int64_t end, topRow;
    };
    for (const Case& c : {
             Case{6 + 3 * 4, 0, false, false, 5 * 16 + 4, 5},
             Case{6 + 3 * 4, -3, true, false, 4 * 16, 4},
             Case{6 + 3 * 4, -3, false, false, 5 * 16, 5},
             Case{6 + 3 * 4, 0, true, false, 5 * 16 + 4, 4},
             Case{6 + 3 * 4, 9, false, true, 12 * 16 + 4, 6},
             Case{6 + 3 * 4, 0, true, true, 5 * 16 + 4, 5}, // a window that is one strip
             Case{6 + 3 * 4, 0, false, true, 6 * 16, 6},
             Case{0, 2, false, false, 7 * 16, 5},
         }) {
        SCOPED_TRACE(testing::Message() << c.column << "," << c.row);
        Player player(400);
        player.view.ScrollTo(5);
        player.Play("@h40.0");
        player.input.Drag(c.column, c.row, c.isAtTop, c.isAtBottom);
        EXPECT_EQ(player.data.selection.end, c.end);
        EXPECT_EQ(player.view.TopRow(), c.topRow);
        player.input.MouseUp(6, c.row);
        EXPECT_EQ(player.data.selection.start, std::min<std::int64_t>(120, 16 * (c.topRow + std::clamp(c.row, 0, 7))));
    }
}

TEST(HexInput, AHeldMouseMarksNothingBehindTheData)
{
    for (const int byte : {8, 9}) { // of row 2, whose last byte is 39
        Player player(40);
        player.input.MouseDown(player.view.HexColumn(byte), 2);
        EXPECT_EQ(player.data.selection, Marked(HexZone::kLowDigit, 39, 39)) << byte;
        player.Play("@h5.0");
        player.input.Drag(player.view.HexColumn(byte), 2, false, false);
        EXPECT_EQ(player.data.selection, Marked(HexZone::kHighDigit, 5, 5)) << byte;
    }
}

TEST(HexInput, WithoutDataOnlyTheViewAnswers)
{
    CHexData data(std::make_shared<HexClipboard>());
    HexView view(data);
    HexInput input(data, view);
    for (const HexKey key : {HexKey::kLeft, HexKey::kRight, HexKey::kUp, HexKey::kDown, HexKey::kDelete,
                             HexKey::kBackspace, HexKey::kEnd}) {
        input.Press(key);
        input.PressWithShift(key);
    }
    input.ReleaseShift();
    input.Type(U'1', std::uint8_t{0x31});
    input.MouseDown(HexView::kEmptyAddressDigits + 2, 0);
    input.Drag(HexView::kEmptyAddressDigits + 2, 0, false, false);
    input.MouseUp(0, 0);
    EXPECT_EQ(data.selection, HexSelection());
    EXPECT_EQ(data.pane, HexPane::kHex);
    EXPECT_EQ(data.Size(), 0);
    ASSERT_EQ(data.Load({}), HexCode::kSuccess);
    input.MouseDown(0, 0);
    EXPECT_EQ(data.pane, HexPane::kHex) << "empty data is not clicked at";
    EXPECT_FALSE(input.MouseUp(20, 0).selected);
    input.Drag(20, 0, false, false);
    EXPECT_EQ(data.selection, Marked(HexZone::kHighDigit, 0, 0));
}

TEST(HexInput, AReadOnlyControlIsMarkedButNotChanged)
{
    Player player(40);
    player.input.isReadOnly = true;
    player.Play("'a Delete Backspace Insert 'b @t3 'x @h2.0 S-Right");
    EXPECT_EQ(player.Caret(), "h3:2-3");
    EXPECT_EQ(player.data.Log().Count(), 0U);
}

TEST(HexInput, TakesNoCharacterThatIsNoByte)
{
    Player player(3);
    player.Play("@t1");
    player.input.Type(U'\u0416', std::nullopt);
    EXPECT_EQ(player.data.Log().Count(), 0U);
    player.Play("@h1.0");
    player.input.Type(U'7', std::nullopt); // a digit needs none
    EXPECT_EQ(player.data.Log().Count(), 1U);
}

TEST(HexInput, TypingEndsAtItsLimit)
{
    Player player(3000);
    for (std::size_t typed = 0; typed < CHexData::kTypingLimit; ++typed) {
        player.Play("'7");
        ASSERT_EQ(player.last.outcome, HexOutcome::kDone);
    }
    player.Play("'7");
    EXPECT_EQ(player.last.outcome, HexOutcome::kTooMuchChanged);
    EXPECT_EQ(player.data.Log().Count(), CHexData::kTypingLimit);
    player.Play("@h5.0 Delete");
    EXPECT_EQ(player.data.Log().Count(), CHexData::kTypingLimit + 1) << "what isn't typed has no such limit";
}

TEST(HexInput, TheCaretStaysWhereMemoryIsMissing)
{
    for (const char* steps :
         {"Delete", "'a", "@t1 'x", "Insert 'a", "@t1 Insert 'x", "@h2.1 Right 'a", "@h1.0>h2.0 Backspace"}) {
        SCOPED_TRACE(steps);
        ScarceMemory memory;
        Player player(3, &memory);
        const std::string all(steps);
        const std::size_t lastWord = all.rfind(' ') + 1;
        player.Play(all.substr(0, lastWord));
        const std::string caret = player.Caret();
        memory.allocationsLeft = 0;
        player.Play(all.substr(lastWord));
        EXPECT_EQ(player.Caret(), caret);
        EXPECT_NE(player.last.outcome, HexOutcome::kDone);
        EXPECT_EQ(HexPairs(player.data.Bytes()), "00 01 02 ");
    }
}

} // namespace
} // namespace tolvar
