#include <algorithm>
#include <cstdlib>
#include <memory>
#include <memory_resource>
#include <new>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hex_bytes.h"
#include "hexctrl/hex_change_trace.h"

namespace tolvar {
namespace {

using namespace std::string_literals;

/// What CHexData must be equal to: a plain vector, and every state that undo and redo lead to.
class PlainModel {
public:
    [[nodiscard]] const Bytes& Now() const { return m_states[m_nNow]; }
    void Commit(Bytes bytes)
    {
        m_states.resize(m_nNow + 1);
        m_states.push_back(std::move(bytes));
        ++m_nNow;
        if (m_states.size() > 300) { // the far past is given up on both sides by a new load
            m_states = {Now()};
            m_nNow = 0;
            needsLoad = true;
        }
    }
    bool Undo() { return m_nNow > 0 && (--m_nNow, true); }
    bool Redo() { return m_nNow + 1 < m_states.size() && (++m_nNow, true); }

    bool needsLoad = false;

private:
    std::vector<Bytes> m_states{Bytes()};
    std::size_t m_nNow = 0;
};

std::ptrdiff_t At(std::int64_t offset)
{
    return static_cast<std::ptrdiff_t>(offset);
}

/// One random operation after the other, on the control's data and on the plain model of it.
class RandomEdits {
public:
    RandomEdits(CHexData& data, unsigned seed) : m_data(data), m_random(seed) {}

    /// Does one operation and answers its outcome. Where that is not kDone, the model has not moved either.
    HexOutcome Step()
    {
        const auto size = static_cast<std::int64_t>(model.Now().size());
        const unsigned kind = Below(10);
        const std::int64_t start = static_cast<std::int64_t>(Below(static_cast<unsigned>(size) + 1));
        m_data.Select(start, 1);
        if (kind < 2) {
            return Follow(kind == 0 ? m_data.Undo() : m_data.Redo(),
                          [&] { return kind == 0 ? model.Undo() : model.Redo(); });
        }
        Bytes next = model.Now();
        HexOutcome outcome = HexOutcome::kDone;
        if (kind < 6 || size == 0) {
            const Bytes fresh = RandomBytes(size > 900 ? 1 : 60);
            next.insert(next.begin() + At(start), fresh.begin(), fresh.end());
            outcome = m_data.Insert(fresh);
        } else if (start == size) {
            return m_data.Delete() == HexOutcome::kNothing ? HexOutcome::kNothing : HexOutcome::kOutside;
        } else if (kind < 8) {
            const std::int64_t count = 1 + Below(static_cast<unsigned>(std::min<std::int64_t>(size - start, 80)));
            m_data.Select(start, count);
            next.erase(next.begin() + At(start), next.begin() + At(start + count));
            outcome = m_data.Delete();
        } else {
            Bytes fresh = RandomBytes(40);
            fresh.resize(std::min<std::size_t>(fresh.size(), static_cast<std::size_t>(size - start)));
            std::ranges::copy(fresh, next.begin() + At(start));
            outcome = m_data.Overwrite(fresh);
        }
        return Follow(outcome, [&] {
            model.Commit(std::move(next));
            return true;
        });
    }

    /// Loads anew where the model has given up its past.
    void Settle()
    {
        if (model.needsLoad) {
            Bytes now = model.Now();
            m_data.Load({static_cast<std::int64_t>(now.size()), 0, 0, now.data()});
            model.needsLoad = false;
        }
    }

    [[nodiscard]] bool IsEqual() const
    {
        m_bytes.resize(model.Now().size());
        return m_data.Size() == static_cast<std::int64_t>(m_bytes.size()) &&
               m_data.Read(0, m_bytes) == m_bytes.size() && m_bytes == model.Now();
    }

    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    PlainModel model;

private:
    template <typename Move>
    HexOutcome Follow(HexOutcome outcome, const Move& move)
    {
        if (outcome == HexOutcome::kDone && !move()) {
            return HexOutcome::kOutside; // the control did what the model can't: the caller sees the difference
        }
        return outcome;
    }

    Bytes RandomBytes(unsigned most)
    {
        Bytes bytes(1 + Below(most));
        std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(m_random()); });
        return bytes;
    }

    CHexData& m_data;
    std::mt19937 m_random;
    mutable Bytes m_bytes;
};

long RandomOperations()
{
    const char* wanted = std::getenv("TOLVAR_HEX_OPERATIONS");
    return wanted != nullptr ? std::strtol(wanted, nullptr, 10) : 2'000;
}

TEST(HexModel, EqualsAPlainVectorAfterEveryRandomOperation)
{
    constexpr std::size_t kSmallChunks = 16;
    const unsigned seed = std::random_device()();
    CHexData data(std::make_shared<HexClipboard>(), kSmallChunks);
    ASSERT_EQ(data.Load({}), HexCode::kSuccess);
    RandomEdits edits(data, seed);
    const long operations = RandomOperations();
    for (long operation = 0; operation < operations; ++operation) {
        const HexOutcome outcome = edits.Step();
        ASSERT_TRUE(outcome == HexOutcome::kDone || outcome == HexOutcome::kNothing) << operation << ", seed " << seed;
        edits.Settle();
        ASSERT_TRUE(edits.IsEqual()) << operation << ", seed " << seed;
    }
}

TEST(HexModel, StandsAsItWasWhereMemoryEndsAtAnyAllocation)
{
    const unsigned seed = std::random_device()();
    ScarceMemory memory;
    CHexData data(std::make_shared<HexClipboard>(), 16, &memory);
    ASSERT_EQ(data.Load({}), HexCode::kSuccess);
    RandomEdits edits(data, seed);
    int refused = 0;
    for (int operation = 0; operation < 3'000; ++operation) {
        memory.allocationsLeft = edits.Below(8);
        const HexOutcome outcome = edits.Step();
        memory.allocationsLeft = -1;
        refused += outcome == HexOutcome::kNoMemory || outcome == HexOutcome::kTooMuchChanged ? 1 : 0;
        ASSERT_NE(outcome, HexOutcome::kOutside) << operation << ", seed " << seed;
        edits.Settle();
        ASSERT_TRUE(edits.IsEqual()) << operation << ", seed " << seed;
    }
    EXPECT_GT(refused, 150);
}

/// A change, and what the selection is after it, after its undo, and after its redo.
struct ChangeCase {
    const char* name;
    HexSelection before;
    HexOutcome (*change)(CHexData&);
    std::string text;
    HexSelection after, undone, redone;
    const char* undoneText = "0123456789"; ///< after one undo
};

constexpr auto kByteZone = HexZone::kBytes;
constexpr auto kHigh = HexZone::kHighDigit;

HexOutcome InsertXyz(CHexData& data)
{
    return data.Insert(BytesOf("xyz"));
}

HexOutcome Cut(CHexData& data)
{
    return data.Delete();
}

TEST(HexModel, SelectsWhatAChangeBringsAndWhatComesBack)
{
    const ChangeCase cases[] = {
        ChangeCase{"insert", Marked(kByteZone, 3, 3), InsertXyz, "012xyz3456789", Marked(kByteZone, 3, 5),
                   Marked(kHigh, 3, 3), Marked(kByteZone, 3, 5)},
        ChangeCase{"insert in front of a selection", Marked(kByteZone, 2, 6), InsertXyz, "01xyz23456789",
                   Marked(kByteZone, 2, 4), Marked(kHigh, 2, 2), Marked(kByteZone, 2, 4)},
        ChangeCase{"insert over a selection that is being made backwards", Marked(kByteZone, 6, 4), InsertXyz,
                   "0123xyz789", Marked(kHigh, 4, 6), Marked(kHigh, 4, 4), Marked(kByteZone, 4, 6), "0123789"},
        ChangeCase{"append", Marked(kByteZone, 10, 10), InsertXyz, "0123456789xyz", Marked(kByteZone, 10, 12),
                   Marked(kHigh, 10, 10), Marked(kByteZone, 10, 12)},
        ChangeCase{"overwrite", Marked(kHigh, 8, 8), [](CHexData& data) { return data.Overwrite(BytesOf("xy")); },
                   "01234567xy", Marked(kHigh, 8, 8), Marked(kByteZone, 8, 9), Marked(kByteZone, 8, 9)},
        ChangeCase{"overwrite with zeros", Marked(kByteZone, 7, 5),
                   [](CHexData& data) { return data.OverwriteWithZeros(); }, "01234\0\0\0"s + "89",
                   Marked(kByteZone, 7, 5), Marked(kByteZone, 5, 7), Marked(kByteZone, 5, 7)},
        ChangeCase{"delete", Marked(kByteZone, 4, 6), Cut, "0123789", Marked(kHigh, 4, 4), Marked(kByteZone, 4, 6),
                   Marked(kHigh, 4, 4)},
        ChangeCase{"delete a selection made backwards", Marked(kByteZone, 6, 4), Cut, "0123789", Marked(kHigh, 4, 4),
                   Marked(kByteZone, 4, 6), Marked(kHigh, 4, 4)},
        ChangeCase{"delete all", Marked(kByteZone, 0, 9), Cut, "", Marked(kHigh, 0, 0), Marked(kByteZone, 0, 9),
                   Marked(kHigh, 0, 0)},
        ChangeCase{"delete to behind the end", Marked(kByteZone, 8, 10), Cut, "01234567", Marked(kHigh, 8, 8),
                   Marked(kByteZone, 8, 9), Marked(kHigh, 8, 8)},
    };
    for (const ChangeCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHexData data(std::make_shared<HexClipboard>(), 4);
        Loaded(data, "0123456789").SetSelection(c.before);
        ASSERT_EQ(c.change(data), HexOutcome::kDone);
        EXPECT_EQ(Text(data), c.text);
        EXPECT_EQ(data.selection, c.after);
        const std::uint64_t saved = data.Log().SavedBytes();
        for (int turn = 0; turn < 3; ++turn) {
            ASSERT_EQ(data.Undo(), HexOutcome::kDone);
            EXPECT_EQ(Text(data), c.undoneText);
            EXPECT_EQ(data.selection, c.undone);
            ASSERT_EQ(data.Redo(), HexOutcome::kDone);
            EXPECT_EQ(Text(data), c.text);
            EXPECT_EQ(data.selection, c.redone);
            EXPECT_EQ(data.Redo(), HexOutcome::kNothing);
        }
        EXPECT_EQ(data.Log().SavedBytes(), saved);
        for (std::size_t entries = data.Log().Count(); entries > 0; --entries) {
            EXPECT_EQ(data.Undo(), HexOutcome::kDone);
        }
        EXPECT_EQ(data.Undo(), HexOutcome::kNothing);
        EXPECT_EQ(Text(data), "0123456789");
    }
}

TEST(HexModel, ForgetsWhatCouldBeRedoneOnceSomethingElseIsChanged)
{
    CHexData data(std::make_shared<HexClipboard>());
    Loaded(data, "abc");
    ASSERT_EQ(InsertXyz(data), HexOutcome::kDone);
    ASSERT_EQ(data.Undo(), HexOutcome::kDone);
    EXPECT_FALSE(data.IsModified());
    ASSERT_EQ(data.Overwrite(BytesOf("q")), HexOutcome::kDone);
    EXPECT_EQ(data.Redo(), HexOutcome::kNothing);
    EXPECT_EQ(Text(data), "qbc");
    EXPECT_TRUE(data.IsModified());
    EXPECT_EQ(Loaded(data, "new").Undo(), HexOutcome::kNothing) << "a load can't be undone";
}

TEST(HexUndoLog, KnowsWhatHasChangedSinceTheStateThatWasSaved)
{
    HexUndoLog log(std::pmr::get_default_resource());
    const auto change = [&] { log.Commit(log.Prepare(HexChangeKind::kInserted, 0, 5)); };
    const auto state = [&] { return std::to_string(log.FirstSinceClean()) + (log.IsClean() ? " clean" : ""); };
    EXPECT_EQ(state(), "0 clean");
    change();
    EXPECT_EQ(state(), "0");
    log.MarkClean();
    EXPECT_EQ(state(), "1 clean");
    change();
    EXPECT_EQ(state(), "1");
    EXPECT_EQ(log.SavedBytes(), 10U);
    log.StepBack();
    EXPECT_EQ(state(), "1 clean") << "a change after the save doesn't lose it";
    log.StepBack();
    EXPECT_EQ(state(), "0");
    log.StepForward();
    EXPECT_EQ(state(), "1 clean");
    log.StepBack();
    change(); // and now the saved state can't be reached
    EXPECT_EQ(state(), "0");
    log.StepBack();
    EXPECT_EQ(state(), "0");
    log.Clear();
    EXPECT_EQ(state(), "0 clean");
    EXPECT_EQ(log.Top(), 0U);
}

TEST(HexUndoLog, NeedsNoMemoryForWhatIsPrepared)
{
    ScarceMemory memory;
    HexUndoLog log(&memory);
    for (std::size_t change = 1; change <= 20; ++change) {
        memory.allocationsLeft = -1;
        HexUndoEntry entry = log.Prepare(HexChangeKind::kDeleted, 0, 5);
        memory.allocationsLeft = 0;
        entry.saved.resize(5);
        log.Commit(std::move(entry)); // an exception would end the program
        EXPECT_EQ(log.Count(), change);
    }
}

TEST(HexModel, RefusesRangesAndBlocksThatReachOutsideTheData)
{
    CHexData data(std::make_shared<HexClipboard>());
    std::uint8_t byte = 0;
    EXPECT_EQ(data.Load({-1, 0, 0, &byte}), HexCode::kBadParameter);
    EXPECT_EQ(data.Load({5, 0, 0, nullptr}), HexCode::kBadParameter);
    Loaded(data, "abc").SetSelection({9, -5, 1'000'000'000'000});
    EXPECT_EQ(data.selection, Marked(HexZone::kNone, 0, 3));
    for (const std::int64_t zone : {-1, 0, 1, 3, 4}) {
        data.SetSelection({zone, 1, 2});
        EXPECT_EQ(data.selection.zone, zone < 0 || zone > 3 ? 0 : zone);
    }
    data.SetSelection(Marked(kByteZone, 2, 2));
    EXPECT_EQ(data.Overwrite(BytesOf("xy")), HexOutcome::kOutside);
    EXPECT_EQ(data.Overwrite({}), HexOutcome::kDone);
    EXPECT_EQ(data.Insert({}), HexOutcome::kDone);
    data.SetSelection(Marked(kByteZone, 3, 3));
    EXPECT_EQ(data.OverwriteWithZeros(), HexOutcome::kNothing);
    EXPECT_EQ(data.Log().Count(), 0U);
    EXPECT_EQ(data.Read(-1, {&byte, 1}), 0U);
    EXPECT_EQ(data.Read(3, {&byte, 1}), 0U);
    EXPECT_EQ(Text(data), "abc");
}

TEST(HexModel, FetchesWholeOrTellsWhatItNeeds)
{
    CHexData data(std::make_shared<HexClipboard>(), 4);
    Loaded(data, "0123456789", 0x1000);
    Bytes buffer(10, 0xEE);
    HexDataBlock block{9, 0, 0, buffer.data()};
    EXPECT_EQ(data.Fetch(block), HexCode::kMoreData);
    EXPECT_EQ(block.size, 10);
    EXPECT_EQ(block.position, 0x1000);
    EXPECT_EQ(buffer, Bytes(10, 0xEE));
    EXPECT_EQ(data.Fetch(block), HexCode::kSuccess);
    EXPECT_EQ(buffer, BytesOf("0123456789"));
    block.data = nullptr;
    EXPECT_EQ(data.Fetch(block), HexCode::kBadParameter);
    Loaded(data, "");
    EXPECT_EQ(data.Fetch(block), HexCode::kNoData);
    EXPECT_EQ(block.size, 0);
    block.data = buffer.data();
    EXPECT_EQ(data.Fetch(block), HexCode::kNoData);
    EXPECT_EQ(buffer[0], '0') << "there was no room for it";
    block.size = 1;
    EXPECT_EQ(data.Fetch(block), HexCode::kNoData);
    EXPECT_EQ(buffer[0], 0);
}

TEST(HexModel, PastesFromAControlThatIsGone)
{
    const auto clipboard = std::make_shared<HexClipboard>();
    {
        CHexData source(clipboard);
        EXPECT_EQ(Loaded(source, "").Copy(), HexOutcome::kNothing);
        EXPECT_EQ(source.Paste(), HexOutcome::kNothing);
        Loaded(source, "0123456789").SetSelection(Marked(kByteZone, 6, 4));
        ASSERT_EQ(source.Copy(), HexOutcome::kDone);
    }
    EXPECT_EQ(clipboard->position, 4);
    EXPECT_EQ(clipboard->sourceName, "");
    CHexData data(clipboard);
    Loaded(data, "abcd").SetSelection(Marked(kByteZone, 1, 2));
    ASSERT_EQ(data.Paste(), HexOutcome::kDone);
    EXPECT_EQ(Text(data), "a456bcd");
    EXPECT_EQ(data.selection, Marked(kByteZone, 1, 3));
    ASSERT_EQ(data.Paste(), HexOutcome::kDone);
    EXPECT_EQ(Text(data), "a456456bcd");
    clipboard->kind = HexClipboardKind::kFile;
    EXPECT_TRUE(data.CanPaste());
    EXPECT_EQ(data.Paste(), HexOutcome::kNothing);
}

/// Bytes that carry whether they were changed through all that is done to them, beside what the log says of them.
TEST(HexModel, KnowsWhichBytesInViewWereChanged)
{
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    const auto below = [&](std::int64_t limit) {
        return static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(limit));
    };
    for (int round = 0; round < 200; ++round) {
        CHexData data(std::make_shared<HexClipboard>());
        Loaded(data, std::string(40, '.'));
        std::vector<std::vector<bool>> states{std::vector<bool>(40)};
        for (int step = 0; step < 12 && data.Size() > 10; ++step) {
            std::vector<bool> now = states.back();
            const std::int64_t start = below(std::ssize(now) - 5);
            const std::int64_t size = 1 + below(5);
            const auto fresh = Bytes(static_cast<std::size_t>(size), 'x');
            data.Select(start, size);
            switch (below(3)) {
            case 0:
                ASSERT_EQ(data.Insert(fresh), HexOutcome::kDone);
                now.insert(now.begin() + start, fresh.size(), true);
                break;
            case 1:
                ASSERT_EQ(data.Delete(), HexOutcome::kDone);
                now.erase(now.begin() + start, now.begin() + start + size);
                break;
            default:
                ASSERT_EQ(data.Overwrite(fresh), HexOutcome::kDone);
                std::fill_n(now.begin() + start, size, true);
                break;
            }
            states.push_back(std::move(now));
            const std::int64_t offset = below(data.Size());
            const std::int64_t count = 1 + below(data.Size() - offset);
            const auto first = states.back().begin() + offset;
            ASSERT_EQ(ChangedBytes(data.Log(), offset, count), std::vector<bool>(first, first + count))
                << "seed " << seed << ", round " << round << ", step " << step;
        }
        while (data.Undo() == HexOutcome::kDone && states.size() > 1) {
            states.pop_back();
            ASSERT_EQ(ChangedBytes(data.Log(), 0, data.Size()), states.back()) << "seed " << seed;
        }
    }
}

} // namespace
} // namespace tolvar
