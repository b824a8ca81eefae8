#include "platform/hive/subkey_cursor.h"

#include <algorithm>

#include "platform/hive/hive.h"

namespace tolvar {

SubkeyCursor Hive::Subkeys(const KeyNode& parent) const noexcept
{
    return {*this, parent.subkeyCount == 0 ? CellOffset{} : parent.subkeyList, MaxKeys()};
}

Checked<bool> SubkeyCursor::OpenNextLeaf() noexcept
{
    if (!m_started) {
        m_started = true;
        const Checked<SubkeyList> list = SubkeyList::Parse(*m_hive, m_list);
        if (!list) {
            return tl::unexpected(list.error());
        }
        m_index = *list;
        m_leafTotal = IsIndexed() ? list->count : 1;
    }
    if (m_nextLeaf == m_leafTotal) {
        return false;
    }
    const std::uint32_t number = m_nextLeaf++;
    m_leafAt = 0;
    m_leaf.count = 0;
    if (!IsIndexed()) {
        m_leaf = m_index;
        m_leafCell = m_list;
        return true;
    }
    const CellOffset leafCell = m_index.Offset(number);
    const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(*m_hive, leafCell);
    if (!leaf) {
        return tl::unexpected(leaf.error());
    }
    m_leaf = *leaf;
    m_leafCell = leafCell;
    return true;
}

Checked<CellOffset> SubkeyCursor::NextFromLeaves() noexcept
{
    if (m_list.IsNil() || m_position >= m_limit) {
        return CellOffset{};
    }
    while (m_leafAt == m_leaf.count) {
        const Checked<bool> opened = OpenNextLeaf();
        if (!opened) {
            return tl::unexpected(opened.error());
        }
        if (!*opened) {
            return CellOffset{};
        }
    }
    const CellOffset subkey = m_leaf.Offset(m_leafAt++);
    ++m_position;
    if (subkey.IsNil()) { // which is how a run ends, and no place of a key
        return Fault(Breach::kOffsetOutside, m_leafCell);
    }
    return subkey;
}

void SubkeyCursor::Seek(std::uint32_t index) noexcept
{
    index = std::min(index, m_limit);
    if (index < m_position) {
        *this = SubkeyCursor(*m_hive, m_list, m_limit);
    }
    while (m_position < index) {
        if (m_leafAt == m_leaf.count) {
            const Checked<bool> opened = m_list.IsNil() ? Checked<bool>(false) : OpenNextLeaf();
            const bool isAtEnd = opened ? !*opened : m_nextLeaf == m_leafTotal;
            if (isAtEnd) {
                return;
            }
            continue;
        }
        const std::uint32_t step = std::min(index - m_position, m_leaf.count - m_leafAt);
        m_leafAt += step;
        m_position += step;
    }
}

} // namespace tolvar
