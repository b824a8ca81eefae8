#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

namespace tolvar {

/// What was done to the data.
enum class HexChangeKind : std::uint32_t { kInserted = 0, kDeleted = 1, kOverwritten = 2 };

/// One change. Its slot is reserved at its full size from the start, also for an insertion, which has nothing to save
/// yet: so turning the entry into its inverse needs no memory for it.
struct HexUndoEntry {
    HexChangeKind kind = HexChangeKind::kInserted;
    std::int64_t position = 0;
    std::int64_t size = 0;
    std::pmr::vector<std::uint8_t> saved; ///< what was deleted or overwritten; empty for an insertion
};

/// The log of changes since the load: entries that can be undone, and after them those that can be redone.
class HexUndoLog {
public:
    explicit HexUndoLog(std::pmr::memory_resource* memory) : m_entries(memory) {}

    void Clear();

    [[nodiscard]] std::size_t Count() const { return m_nCount; } ///< entries that can be undone
    [[nodiscard]] std::size_t Top() const
    {
        return m_entries.size();
    } ///< all entries; those from Count on can be redone
    [[nodiscard]] const HexUndoEntry& Entry(std::size_t index) const { return m_entries[index]; }

    /// Bytes of all slots. No undo or redo changes it.
    [[nodiscard]] std::uint64_t SavedBytes() const;

    /// An entry with its slot reserved, and room in the log for it. Throws std::bad_alloc, and then nothing has
    /// changed.
    [[nodiscard]] HexUndoEntry Prepare(HexChangeKind kind, std::int64_t position, std::int64_t size);
    /// Puts a prepared entry after those that can be undone; what could be redone is gone. Can't fail.
    void Commit(HexUndoEntry entry) noexcept;

    /// The entry that the next undo turns into its inverse, and the one of the next redo.
    [[nodiscard]] HexUndoEntry& ForUndo() { return m_entries[m_nCount - 1]; }
    [[nodiscard]] HexUndoEntry& ForRedo() { return m_entries[m_nCount]; }
    void StepBack() noexcept { --m_nCount; }
    void StepForward() noexcept { ++m_nCount; }

    /// Remembers the present state as the one that is saved elsewhere.
    void MarkClean() { m_nClean = static_cast<std::ptrdiff_t>(m_nCount); }
    [[nodiscard]] bool IsClean() const { return m_nClean == static_cast<std::ptrdiff_t>(m_nCount); }
    /// The first entry that counts as a change since the clean state: all of them where that state can no more be
    /// reached.
    [[nodiscard]] std::size_t FirstSinceClean() const;

private:
    static constexpr std::ptrdiff_t kLost = -1;

    std::pmr::vector<HexUndoEntry> m_entries;
    std::size_t m_nCount = 0;
    std::ptrdiff_t m_nClean = 0;
};

} // namespace tolvar
