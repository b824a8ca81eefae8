#include "hexctrl/hex_change_trace.h"

#include <algorithm>
#include <utility>

namespace tolvar {

namespace {

constexpr std::size_t kMostSteps = 2'000'000; // a few milliseconds

/// Bytes of the view whose origin isn't known yet: where they stood after the entries that are still to be looked at.
struct Segment {
    std::int64_t inView;
    std::int64_t offset;
    std::int64_t size;
};

class ChangeTrace {
public:
    ChangeTrace(std::int64_t offset, std::int64_t count)
        : m_changed(static_cast<std::size_t>(count)), m_segments{{0, offset, count}}
    {}

    void Overwritten(std::int64_t position, std::int64_t size)
    {
        for (const Segment& segment : m_segments) {
            const std::int64_t end = segment.offset + segment.size;
            Mark(segment, std::clamp(position, segment.offset, end), std::clamp(position + size, segment.offset, end));
        }
    }

    /// The inserted bytes come from here, and what lies after them stood nearer to the start.
    void Inserted(std::int64_t position, std::int64_t size)
    {
        m_next.clear();
        for (const Segment& segment : m_segments) {
            const std::int64_t end = segment.offset + segment.size;
            const std::int64_t from = std::clamp(position, segment.offset, end);
            const std::int64_t to = std::clamp(position + size, segment.offset, end);
            Mark(segment, from, to);
            Keep(segment, segment.offset, from, 0);
            Keep(segment, to, end, -size);
        }
        m_segments.swap(m_next);
    }

    void Deleted(std::int64_t position, std::int64_t size)
    {
        m_next.clear();
        for (const Segment& segment : m_segments) {
            const std::int64_t end = segment.offset + segment.size;
            const std::int64_t seam = std::clamp(position, segment.offset, end);
            Keep(segment, segment.offset, seam, 0);
            Keep(segment, seam, end, size);
        }
        m_segments.swap(m_next);
    }

    [[nodiscard]] bool IsDone() const { return m_segments.empty(); }
    [[nodiscard]] std::size_t Steps() const { return m_segments.size(); } ///< that the next entry costs
    [[nodiscard]] std::vector<bool> Take() { return std::move(m_changed); }

private:
    void Mark(const Segment& segment, std::int64_t from, std::int64_t to)
    {
        const auto first = m_changed.begin() + (segment.inView + from - segment.offset);
        std::fill(first, first + (to - from), true);
    }

    void Keep(const Segment& segment, std::int64_t from, std::int64_t to, std::int64_t shift)
    {
        if (from < to) {
            m_next.push_back({segment.inView + from - segment.offset, from + shift, to - from});
        }
    }

    std::vector<bool> m_changed;
    std::vector<Segment> m_segments;
    std::vector<Segment> m_next;
};

} // namespace

std::vector<bool> ChangedBytes(const HexUndoLog& log, std::int64_t offset, std::int64_t count)
{
    ChangeTrace trace(offset, count);
    std::size_t steps = 0;
    for (std::size_t index = log.Count(); index > log.FirstSinceClean() && !trace.IsDone(); --index) {
        steps += trace.Steps();
        if (steps > kMostSteps) {
            break;
        }
        const HexUndoEntry& entry = log.Entry(index - 1);
        switch (entry.kind) {
        case HexChangeKind::kInserted:
            trace.Inserted(entry.position, entry.size);
            break;
        case HexChangeKind::kDeleted:
            trace.Deleted(entry.position, entry.size);
            break;
        case HexChangeKind::kOverwritten:
            trace.Overwritten(entry.position, entry.size);
            break;
        }
    }
    return trace.Take();
}

} // namespace tolvar
