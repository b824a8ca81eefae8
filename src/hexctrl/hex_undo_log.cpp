#include "hexctrl/hex_undo_log.h"

#include <algorithm>
#include <utility>

namespace tolvar {

void HexUndoLog::Clear()
{
    m_entries.clear();
    m_nCount = 0;
    m_nClean = 0;
}

std::uint64_t HexUndoLog::SavedBytes() const
{
    std::uint64_t bytes = 0;
    for (const HexUndoEntry& entry : m_entries) {
        bytes += static_cast<std::uint64_t>(entry.size);
    }
    return bytes;
}

HexUndoEntry HexUndoLog::Prepare(HexChangeKind kind, std::int64_t position, std::int64_t size)
{
    HexUndoEntry entry{kind, position, size, std::pmr::vector<std::uint8_t>(m_entries.get_allocator())};
    entry.saved.reserve(static_cast<std::size_t>(size));
    if (m_nCount == m_entries.capacity()) {
        m_entries.reserve(2 * m_nCount + 2);
    }
    return entry;
}

void HexUndoLog::Commit(HexUndoEntry entry) noexcept
{
    if (m_nClean > static_cast<std::ptrdiff_t>(m_nCount)) {
        m_nClean = kLost;
    }
    m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(m_nCount), m_entries.end());
    m_entries.push_back(std::move(entry));
    ++m_nCount;
}

std::size_t HexUndoLog::FirstSinceClean() const
{
    if (m_nClean == kLost) {
        return 0;
    }
    return std::min(static_cast<std::size_t>(m_nClean), m_nCount);
}

} // namespace tolvar
