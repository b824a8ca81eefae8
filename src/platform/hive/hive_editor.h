#pragma once

#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/hive/cell_owners.h"
#include "platform/hive/hive.h"
#include "platform/hive/hive_log.h"

namespace tolvar {

/// Changes the cells of a hive in memory: hands out and takes back cells, and keeps track of the pages that were
/// written. What lies in a cell is not its business (see HiveWriter).
///
/// All that is written belongs to a Change, and happens whole or not at all. What a change lets go stays as it is until
/// it is kept, so that nothing is lost and nothing can fail behind that.
///
/// Free cells are found as they are needed: opening a hive costs no walk, and a hive that was never walked whole grows
/// at its end before every gap in it is known. Nothing is allocated in a bin whose cells do not fill it exactly.
class HiveEditor {
public:
    /// `hive` lies in a private copy (see Hive::FromMap) and outlives this.
    explicit HiveEditor(Hive& hive);

    [[nodiscard]] const Hive& Reader() const noexcept { return m_hive; }

    /// What readers of the hive remember, to be told of changes.
    [[nodiscard]] LookupCache& Lookups() noexcept { return *m_hive.m_lookups; }

    /// A group of writes. Ends as if none of them had been made, unless it is kept: bytes of cells in use, the hive's
    /// length, what counts as written.
    ///
    /// Cost: a copy of what is written over; none for what comes new, however large. The first change of a hive looks
    /// through all of it: see CellOwners.
    class Change {
    public:
        /// No other one of this editor is open.
        explicit Change(HiveEditor& editor);
        ~Change();
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

        /// Gives back the cells that were let go: nothing of the change can be taken back any more.
        void Keep() noexcept;

    private:
        HiveEditor& m_editor;
        bool m_isKept = false;
    };

    /// What the hive's damage forbids. Known as long as a change is open.
    [[nodiscard]] CellOwners& Owners() noexcept { return *m_owners; }

    /// A new cell with room for `payload` bytes, all of them zero. May make the hive longer, and never moves it.
    /// Errors: kInvalidParameter above kMaxCell; kNotEnoughMemory for a hive that has reached the format's limit.
    /// Nothing is changed then.
    [[nodiscard]] Result<CellOffset> Allocate(std::uint32_t payload);

    /// Lets a cell go: it is given back when the change is kept, where nothing else uses it and it is an allocated one.
    void Free(CellOffset cell);

    /// A cell with room for `payload` bytes and the first `used` bytes of `cell`: `cell` itself where it is large
    /// enough, else a new one, and `cell` is free. Errors as Allocate, and `cell` is then as it was.
    [[nodiscard]] Result<CellOffset> Grow(CellOffset cell, std::uint32_t payload, std::uint32_t used);

    /// Bytes that the allocated cell has room for.
    [[nodiscard]] std::uint32_t Capacity(CellOffset cell) const noexcept;

    /// Stores a field of an allocated cell.
    template <class T>
    void Store(CellOffset cell, Field<T> field, std::type_identity_t<T> value)
    {
        std::memcpy(Touch(cell, field.at, sizeof value), &value, sizeof value);
    }
    void Store(CellOffset cell, Field<std::uint32_t> field, CellOffset offset) { Store(cell, field, offset.value); }

    /// `at` counts from the start of the payload.
    void StoreBytes(CellOffset cell, std::uint32_t at, std::span<const std::byte> bytes);

    /// Part of a cell's payload for writing; the pages under it count as written.
    [[nodiscard]] std::byte* Touch(CellOffset cell, std::uint32_t at, std::uint32_t size);

    /// Takes `gap` bytes at `at` out of a cell's payload: what follows them, up to `end`, moves down, and zeros come in
    /// behind it. Cheaper than Touch, which keeps a copy of all that may be written over.
    void CloseGap(CellOffset cell, std::uint32_t at, std::uint32_t gap, std::uint32_t end);

    /// The pages that were written since the last Clean, in order, neighbours as one run.
    [[nodiscard]] std::vector<ChangedRun> WrittenPages() const;
    [[nodiscard]] bool IsChanged() const noexcept { return m_isChanged; }
    void MarkClean();

    /// Length of the hive at the last MarkClean, or when this was made.
    [[nodiscard]] std::uint32_t CleanLength() const noexcept { return m_cleanLength; }

    /// Forgets all that it found in the hive and all that was written: for a hive that was put back to what it held at
    /// the last MarkClean.
    void Restart();

    /// Counts the whole hive as written: for a file that has yet to be made.
    void MarkAllWritten();

private:
    struct Bin {
        std::uint32_t end;
        std::uint32_t soundEnd; ///< up to here cells follow each other; `end` where they fill the bin exactly
    };
    /// Bytes that an open change wrote over.
    struct Overwritten {
        std::uint32_t begin; ///< in the bins
        std::uint32_t size;
        std::uint32_t gap; ///< so many of them were taken out at `begin`, and only they are kept; 0: all are
    };
    /// What an open change has done. It is cleared, and not made anew, for the next one.
    struct Pending {
        std::uint32_t length = 0; ///< of the hive before it
        bool wasChanged = false;
        std::vector<Overwritten> overwritten;
        std::vector<std::byte> bytes;            ///< what was there, one behind another
        std::vector<std::uint32_t> writtenPages; ///< that were not counted as written before
        std::unordered_set<std::uint32_t> made;  ///< cells that were free before, as far as they lie below `length`
        std::vector<std::uint32_t> freed;        ///< to be given back
    };

    void Begin();
    void TakeBack() noexcept;
    void GiveBackAll() noexcept;
    void EndChange() noexcept;
    void KeepOld(std::uint32_t begin, std::uint32_t size, std::uint32_t gap = 0);
    void PutBack(const Overwritten& old, std::span<const std::byte> bytes) noexcept;
    [[nodiscard]] bool IsMade(std::uint32_t cell) const;
    void MarkWritten(std::uint32_t begin, std::uint32_t size);
    void StoreSize(std::uint32_t cell, std::int32_t size);
    [[nodiscard]] std::int32_t SizeAt(std::uint32_t cell) const noexcept;
    [[nodiscard]] bool IsBinAt(std::uint32_t at) const noexcept;
    const Bin& ScanBin(std::uint32_t begin);
    void ScanSome();
    [[nodiscard]] std::pair<const std::uint32_t, Bin>* BinOf(std::uint32_t cell);
    [[nodiscard]] std::uint32_t FindBinBefore(std::uint32_t cell) const;
    [[nodiscard]] bool AppendBin(std::uint32_t cellSize);
    void InsertFree(std::uint32_t cell, std::uint32_t size, bool isUsable);
    void RemoveFree(std::uint32_t cell, std::uint32_t size);
    void ForgetFree() noexcept;
    void GiveBack(std::uint32_t begin, std::uint32_t size);
    [[nodiscard]] std::uint32_t TakeFree(std::uint32_t size);

    Hive& m_hive;
    std::vector<std::uint64_t> m_written; ///< one bit a page
    std::uint32_t m_cleanLength;
    bool m_isChanged = false;
    std::map<std::uint32_t, Bin> m_bins;                  ///< those that were looked into, by their begin
    std::uint32_t m_scanAt = 0;                           ///< the next bin to look into, from the start of the hive on
    std::map<std::uint32_t, std::uint32_t> m_freeByPlace; ///< offset and size
    std::set<std::pair<std::uint32_t, std::uint32_t>> m_freeBySize; ///< size and offset of those that can be used
    std::optional<CellOwners> m_owners;                             ///< from the first change on
    Pending m_pending;                                              ///< the open change
    bool m_isOpen = false;                                          ///< there is one
};

} // namespace tolvar
