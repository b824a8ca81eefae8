#include "platform/hive/hive_editor.h"

#include <algorithm>

#include "platform/hive/bin_header.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kScanAtOnce = 64 * 1024; // bytes of bins looked into for one cell
constexpr std::uint32_t kMaxBinGrowth = 64 * 1024;
constexpr int kMaxUnusableBins = 16; // that are appended for one cell, since references lead into them
constexpr std::uint32_t kNoCell = CellOffset::kNil;

} // namespace

HiveEditor::Change::Change(HiveEditor& editor) : m_editor(editor)
{
    editor.Begin();
}

HiveEditor::Change::~Change()
{
    if (!m_isKept) {
        m_editor.TakeBack();
    }
}

void HiveEditor::Change::Keep() noexcept
{
    m_isKept = true;
    m_editor.GiveBackAll();
}

HiveEditor::HiveEditor(Hive& hive)
    : m_hive(hive), m_written((hive.Length() / kPage + 63) / 64), m_cleanLength(hive.Length())
{}

std::int32_t HiveEditor::SizeAt(std::uint32_t cell) const noexcept
{
    return LoadLittle<std::int32_t>(m_hive.Bins().data() + cell);
}

void HiveEditor::Begin()
{
    if (!m_owners) {
        m_owners = CellOwners::Survey(m_hive);
    }
    m_pending.length = m_hive.Length();
    m_pending.wasChanged = m_isChanged;
    m_isOpen = true;
}

void HiveEditor::EndChange() noexcept
{
    constexpr std::size_t kKept = 1024 * 1024; // bytes: what a large change took is not kept for small ones
    m_isOpen = false;
    if (m_pending.bytes.capacity() > kKept || m_pending.made.bucket_count() > kKept / 1024) {
        m_pending = {};
        return;
    }
    m_pending.overwritten.clear();
    m_pending.bytes.clear();
    m_pending.writtenPages.clear();
    m_pending.made.clear();
    m_pending.freed.clear();
}

void HiveEditor::TakeBack() noexcept
{
    if (!m_pending.writtenPages.empty() || !m_pending.overwritten.empty() || m_hive.Length() != m_pending.length) {
        if (m_hive.Length() != m_pending.length) {
            m_hive.Shrink(m_pending.length);
        }
        std::span<const std::byte> bytes = m_pending.bytes;
        for (auto old = m_pending.overwritten.rbegin(); old != m_pending.overwritten.rend(); ++old) {
            const std::size_t kept = old->gap != 0 ? old->gap : old->size;
            PutBack(*old, bytes.last(kept));
            bytes = bytes.first(bytes.size() - kept);
        }
        for (const std::uint32_t page : m_pending.writtenPages) {
            m_written[page / 64] &= ~(std::uint64_t{1} << (page % 64));
        }
        m_isChanged = m_pending.wasChanged;
        ForgetFree();
        Lookups().ForgetAll();
        if (!m_owners->IsEmpty()) { // it was told of the change
            m_owners.reset();
        }
    }
    EndChange();
}

void HiveEditor::ForgetFree() noexcept
{
    m_bins.clear();
    m_scanAt = 0;
    m_freeByPlace.clear();
    m_freeBySize.clear();
}

/// Remembers what lies in bytes that are about to be written over, or, of bytes that are about to move down by `gap`,
/// those that go.
void HiveEditor::KeepOld(std::uint32_t begin, std::uint32_t size, std::uint32_t gap)
{
    if (!m_isOpen || begin >= m_pending.length) {
        return;
    }
    const std::uint32_t held = std::min(size, m_pending.length - begin);
    const auto old = m_hive.Bins().subspan(begin, gap != 0 ? gap : held);
    m_pending.overwritten.push_back({begin, 0, 0}); // until the bytes are there
    m_pending.bytes.insert(m_pending.bytes.end(), old.begin(), old.end());
    m_pending.overwritten.back() = {begin, held, gap};
}

void HiveEditor::PutBack(const Overwritten& old, std::span<const std::byte> bytes) noexcept
{
    std::byte* const at = m_hive.WritableBins().data() + old.begin;
    if (old.gap != 0) {
        std::memmove(at + old.gap, at, old.size - old.gap);
    }
    std::ranges::copy(bytes, at);
}

void HiveEditor::CloseGap(CellOffset cell, std::uint32_t at, std::uint32_t gap, std::uint32_t end)
{
    const std::uint32_t begin = cell.value + kCellHeader + at;
    const std::uint32_t size = end - at;
    if (!IsMade(cell.value)) {
        KeepOld(begin, size, gap);
    }
    MarkWritten(begin, size);
    std::byte* const bytes = m_hive.WritableBins().data() + begin;
    std::memmove(bytes, bytes + gap, size - gap);
    std::memset(bytes + size - gap, 0, gap);
}

bool HiveEditor::IsMade(std::uint32_t cell) const
{
    return m_isOpen && (cell >= m_pending.length || m_pending.made.contains(cell));
}

void HiveEditor::StoreSize(std::uint32_t cell, std::int32_t size)
{
    KeepOld(cell, sizeof size);
    std::memcpy(m_hive.WritableBins().data() + cell, &size, sizeof size);
    MarkWritten(cell, sizeof size);
}

void HiveEditor::MarkWritten(std::uint32_t begin, std::uint32_t size)
{
    m_isChanged = true;
    for (std::uint32_t page = begin / kPage; page <= (begin + size - 1) / kPage; ++page) {
        std::uint64_t& word = m_written[page / 64];
        const std::uint64_t bit = std::uint64_t{1} << (page % 64);
        if (m_isOpen && (word & bit) == 0) {
            m_pending.writtenPages.push_back(page);
        }
        word |= bit;
    }
}

void HiveEditor::MarkAllWritten()
{
    MarkWritten(0, m_hive.Length());
}

void HiveEditor::MarkClean()
{
    std::ranges::fill(m_written, 0);
    m_isChanged = false;
    m_cleanLength = m_hive.Length();
}

void HiveEditor::Restart()
{
    m_written.assign((m_hive.Length() / kPage + 63) / 64, 0);
    m_isChanged = false;
    m_cleanLength = m_hive.Length();
    ForgetFree();
    m_owners.reset();
    Lookups().ForgetAll();
}

std::vector<ChangedRun> HiveEditor::WrittenPages() const
{
    std::vector<ChangedRun> runs;
    for (std::uint32_t page = 0; page < m_hive.Length() / kPage; ++page) {
        if (page % 64 == 0 && m_written[page / 64] == 0) {
            page += 63;
            continue;
        }
        if ((m_written[page / 64] >> (page % 64) & 1U) == 0) {
            continue;
        }
        const std::uint32_t begin = page * kPage;
        if (!runs.empty() && runs.back().begin + runs.back().size == begin) {
            runs.back().size += kPage;
        } else {
            runs.push_back({begin, kPage});
        }
    }
    return runs;
}

std::byte* HiveEditor::Touch(CellOffset cell, std::uint32_t at, std::uint32_t size)
{
    const std::uint32_t begin = cell.value + kCellHeader + at;
    if (size != 0) {
        if (!IsMade(cell.value)) {
            KeepOld(begin, size);
        }
        MarkWritten(begin, size);
    }
    return m_hive.WritableBins().data() + begin;
}

void HiveEditor::StoreBytes(CellOffset cell, std::uint32_t at, std::span<const std::byte> bytes)
{
    std::ranges::copy(bytes, Touch(cell, at, static_cast<std::uint32_t>(bytes.size())));
}

std::uint32_t HiveEditor::Capacity(CellOffset cell) const noexcept
{
    return 0U - static_cast<std::uint32_t>(SizeAt(cell.value)) - kCellHeader;
}

void HiveEditor::InsertFree(std::uint32_t cell, std::uint32_t size, bool isUsable)
{
    m_freeByPlace.emplace(cell, size);
    if (isUsable && !m_owners->IsAwaited(cell, cell + size)) {
        m_freeBySize.emplace(size, cell);
    }
}

void HiveEditor::RemoveFree(std::uint32_t cell, std::uint32_t size)
{
    m_freeByPlace.erase(cell);
    m_freeBySize.erase({size, cell});
}

bool HiveEditor::IsBinAt(std::uint32_t at) const noexcept
{
    return BinBreach(m_hive.Bins(), at) == Breach::kNone;
}

const HiveEditor::Bin& HiveEditor::ScanBin(std::uint32_t begin)
{
    const std::uint32_t end = begin + BinSize(m_hive.Bins(), begin);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> free;
    std::uint32_t at = begin + kBinHeaderSize;
    while (at < end) {
        const CellExtent extent = ExtentAt(m_hive.Bins(), at, end);
        if (extent.size == 0) {
            break;
        }
        if (extent.isFree) {
            free.emplace_back(at, extent.size);
        }
        at += extent.size;
    }
    for (const auto& [cell, size] : free) {
        InsertFree(cell, size, at == end);
    }
    return m_bins.insert_or_assign(begin, Bin{end, at}).first->second;
}

void HiveEditor::ScanSome()
{
    const std::uint32_t stop = m_scanAt + std::min(kScanAtOnce, m_hive.Length() - m_scanAt);
    while (m_scanAt < stop) {
        const auto known = m_bins.find(m_scanAt);
        if (known != m_bins.end()) {
            m_scanAt = known->second.end;
        } else if (IsBinAt(m_scanAt)) {
            m_scanAt = ScanBin(m_scanAt).end;
        } else {
            m_scanAt += kBinAlignment; // whatever lies here is not ours to use
        }
    }
}

/// The begin of the bin that `cell` lies in. Data may hold what looks like a bin: where more than one place in reach
/// could be the begin, the bins are counted from the start of the hive, which no data can feign.
std::uint32_t HiveEditor::FindBinBefore(std::uint32_t cell) const
{
    constexpr std::uint32_t kReach = kMaxCell + 2 * kBinAlignment;
    std::uint32_t found = kNoCell;
    bool isAmbiguous = false;
    const std::uint32_t page = cell / kBinAlignment * kBinAlignment;
    for (std::uint32_t back = 0; back <= std::min(page, kReach); back += kBinAlignment) {
        const std::uint32_t at = page - back;
        if (IsBinAt(at) && at + BinSize(m_hive.Bins(), at) > cell) {
            isAmbiguous = isAmbiguous || found != kNoCell;
            found = at;
        }
    }
    if (found != kNoCell && !isAmbiguous) {
        return found;
    }
    std::uint32_t at = 0;
    while (at <= cell) {
        const bool isBin = IsBinAt(at);
        const std::uint32_t size = isBin ? BinSize(m_hive.Bins(), at) : kBinAlignment;
        if (isBin && at + size > cell) {
            return at;
        }
        at += size;
    }
    return kNoCell;
}

std::pair<const std::uint32_t, HiveEditor::Bin>* HiveEditor::BinOf(std::uint32_t cell)
{
    auto after = m_bins.upper_bound(cell);
    if (after != m_bins.begin() && std::prev(after)->second.end > cell) {
        return &*std::prev(after);
    }
    const std::uint32_t begin = FindBinBefore(cell);
    if (begin == kNoCell) {
        return nullptr;
    }
    ScanBin(begin);
    return &*m_bins.find(begin);
}

bool HiveEditor::AppendBin(std::uint32_t cellSize)
{
    const std::uint32_t begin = m_hive.Length();
    const std::uint32_t needed = RoundUp(cellSize + kBinHeaderSize, kBinAlignment);
    // A hive that grows much grows by larger steps: fewer headers, and fewer ends that fit nothing.
    const std::uint32_t step = std::min(kMaxBinGrowth, begin / 16 / kBinAlignment * kBinAlignment);
    const std::uint32_t size = cellSize < kExactCell / 2 ? std::max(needed, step) : needed;
    if (size > kMaxLength - begin || !m_hive.Extend(size)) {
        return false;
    }
    m_written.resize((m_hive.Length() / kPage + 63) / 64);
    WriteBinHeader(m_hive.WritableBins(), begin, size);
    MarkWritten(begin, size);
    m_bins.emplace(begin, Bin{begin + size, begin + size});
    StoreSize(begin + kBinHeaderSize, static_cast<std::int32_t>(size - kBinHeaderSize));
    InsertFree(begin + kBinHeaderSize, size - kBinHeaderSize, true);
    return true;
}

std::uint32_t HiveEditor::TakeFree(std::uint32_t size)
{
    const auto fit = m_freeBySize.lower_bound({size, 0});
    if (fit == m_freeBySize.end()) {
        return kNoCell;
    }
    const auto [found, cell] = *fit;
    if (found - size >= kLeastCell) {
        StoreSize(cell + size, static_cast<std::int32_t>(found - size));
        // The rest takes over the entries of the whole: it keeps its place among the others, and nothing is allocated.
        auto bySize = m_freeBySize.extract(fit);
        bySize.value() = {found - size, cell + size};
        m_freeBySize.insert(std::move(bySize));
        const auto place = m_freeByPlace.find(cell);
        const auto behind = std::next(place);
        auto byPlace = m_freeByPlace.extract(place);
        byPlace.key() = cell + size;
        byPlace.mapped() = found - size;
        m_freeByPlace.insert(behind, std::move(byPlace));
    } else {
        RemoveFree(cell, found);
    }
    StoreSize(cell, -static_cast<std::int32_t>(found - size >= kLeastCell ? size : found));
    return cell;
}

Result<CellOffset> HiveEditor::Allocate(std::uint32_t payload)
{
    if (payload > kMaxCell - kCellHeader) {
        return Failure(ErrorCode::kInvalidParameter, "a cell of more than a megabyte");
    }
    const std::uint32_t size = CellSize(payload);
    std::uint32_t cell = TakeFree(size);
    if (cell == kNoCell && m_scanAt < m_hive.Length()) {
        ScanSome();
        cell = TakeFree(size);
    }
    for (int tries = 0; cell == kNoCell && tries < kMaxUnusableBins && AppendBin(size); ++tries) {
        cell = TakeFree(size);
    }
    if (cell == kNoCell) {
        return Failure(ErrorCode::kNotEnoughMemory, m_hive.File().string() + ": the hive can't grow any more");
    }
    if (m_isOpen && cell < m_pending.length) {
        m_pending.made.insert(cell);
    }
    const CellOffset offset{cell};
    const std::uint32_t capacity = Capacity(offset);
    std::fill_n(Touch(offset, 0, capacity), capacity, std::byte{0});
    return offset;
}

void HiveEditor::Free(CellOffset cell)
{
    if (IsMade(cell.value)) {
        m_pending.made.erase(cell.value);
        GiveBack(cell.value, Capacity(cell) + kCellHeader);
    } else if (m_isOpen) {
        m_pending.freed.push_back(cell.value);
    }
}

/// Makes one free cell of allocated ones side by side, and of the free ones beside them.
void HiveEditor::GiveBack(std::uint32_t begin, std::uint32_t size)
{
    const auto* bin = BinOf(begin);
    if (bin == nullptr || begin + size > bin->second.soundEnd) {
        return; // whatever lies here is not ours to use
    }
    for (std::uint32_t at = begin; at < begin + size;) {
        const auto part = 0U - static_cast<std::uint32_t>(SizeAt(at));
        StoreSize(at, static_cast<std::int32_t>(part)); // where it becomes part of another, too: no stale reference
        at += part;                                     // finds a cell
    }
    const std::uint32_t next = begin + size;
    if (next < bin->second.soundEnd && SizeAt(next) > 0) {
        const auto nextSize = static_cast<std::uint32_t>(SizeAt(next));
        RemoveFree(next, nextSize);
        size += nextSize;
    }
    const auto after = m_freeByPlace.lower_bound(begin);
    if (after != m_freeByPlace.begin()) {
        const auto [before, beforeSize] = *std::prev(after);
        if (before >= bin->first && before + beforeSize == begin) {
            RemoveFree(before, beforeSize);
            begin = before;
            size += beforeSize;
        }
    }
    StoreSize(begin, static_cast<std::int32_t>(size));
    InsertFree(begin, size, bin->second.soundEnd == bin->second.end);
}

/// Ends the change. Neighbours are given back as one.
void HiveEditor::GiveBackAll() noexcept
{
    std::vector<std::uint32_t> cells = std::move(m_pending.freed);
    EndChange();
    std::erase_if(cells, [this](std::uint32_t& cell) {
        cell = m_owners->Release(CellOffset{cell}).value;
        return cell == kNoCell || !m_hive.Cell(CellOffset{cell});
    });
    std::ranges::sort(cells);
    cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
    for (std::size_t i = 0; i < cells.size();) {
        const std::uint32_t begin = cells[i];
        std::uint32_t end = begin;
        for (; i < cells.size() && cells[i] == end; ++i) {
            end += Capacity(CellOffset{cells[i]}) + kCellHeader;
        }
        try {
            GiveBack(begin, end - begin);
        } catch (const std::bad_alloc&) {
            ForgetFree(); // the cells are free or not, and that is looked up again when there is memory
        }
    }
}

Result<CellOffset> HiveEditor::Grow(CellOffset cell, std::uint32_t payload, std::uint32_t used)
{
    if (Capacity(cell) >= payload) {
        return cell;
    }
    Result<CellOffset> larger = Allocate(payload);
    if (larger) {
        StoreBytes(*larger, 0, m_hive.Bins().subspan(cell.value + kCellHeader, used));
        Free(cell);
    }
    return larger;
}

} // namespace tolvar
