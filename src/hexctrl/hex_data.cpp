#include "hexctrl/hex_data.h"

#include <algorithm>
#include <new>
#include <utility>

#include "hexctrl/hex_file.h"

namespace tolvar {

namespace {

std::uint64_t Unsigned(std::int64_t number)
{
    return static_cast<std::uint64_t>(number);
}

constexpr auto kByteZone = static_cast<std::int64_t>(HexZone::kBytes);

} // namespace

CHexData::CHexData(std::shared_ptr<HexClipboard> clipboard, std::size_t chunkBytes, std::pmr::memory_resource* memory)
    : m_bytes(chunkBytes, memory), m_undo(memory), m_pClipboard(std::move(clipboard))
{}

void CHexData::Reset(HexMode newMode, std::int64_t base)
{
    mode = newMode;
    baseAddress = base;
    selection = {};
    marks.clear();
    m_undo.Clear();
}

HexCode CHexData::Load(const HexDataBlock& block)
{
    if (block.size < 0 || (block.size > 0 && block.data == nullptr)) {
        return HexCode::kBadParameter;
    }
    try {
        m_bytes.Assign({block.data, static_cast<std::size_t>(block.size)});
    } catch (const std::bad_alloc&) {
        return HexCode::kNotEnoughMemory;
    }
    Reset(HexMode::kGiven, block.position);
    return HexCode::kSuccess;
}

HexCode CHexData::LoadFile(const std::string& name)
{
    std::vector<std::uint8_t> bytes;
    const HexCode code = ReadHexFile(name, bytes);
    if (code != HexCode::kSuccess) {
        return code;
    }
    try {
        m_bytes.Assign(bytes);
    } catch (const std::bad_alloc&) {
        return HexCode::kNotEnoughMemory;
    }
    Reset(HexMode::kFile, 0);
    fileName = name;
    return HexCode::kSuccess;
}

HexCode CHexData::Fetch(HexDataBlock& block) const
{
    const std::int64_t capacity = block.size;
    block.size = Size();
    block.position = baseAddress;
    if (capacity < Size()) {
        return HexCode::kMoreData;
    }
    if (Size() == 0) {
        if (block.data != nullptr && capacity > 0) {
            block.data[0] = 0;
        }
        return HexCode::kNoData;
    }
    if (block.data == nullptr) {
        return HexCode::kBadParameter;
    }
    m_bytes.Read(0, {block.data, static_cast<std::size_t>(Size())});
    return HexCode::kSuccess;
}

std::vector<std::uint8_t> CHexData::Bytes() const
{
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(m_bytes.Size()));
    m_bytes.Read(0, bytes);
    return bytes;
}

std::uint32_t CHexData::Save()
{
    return WriteFile(fileName);
}

std::uint32_t CHexData::SaveAs(const std::string& name)
{
    // Only what came from a file is saved to one: data of a host is the host's to keep.
    return fileName.empty() ? static_cast<std::uint32_t>(HexCode::kBadParameter) : WriteFile(name);
}

std::uint32_t CHexData::WriteFile(const std::string& name)
{
    if (name.empty()) {
        return static_cast<std::uint32_t>(HexCode::kBadParameter);
    }
    const std::uint32_t result = WriteHexFile(name, m_bytes);
    if (result == static_cast<std::uint32_t>(HexCode::kSuccess)) {
        m_undo.MarkClean();
    }
    return result;
}

std::size_t CHexData::Read(std::int64_t offset, std::span<std::uint8_t> out) const
{
    return offset < 0 ? 0 : m_bytes.Read(Unsigned(offset), out);
}

HexOutcome CHexData::Overwrite(std::span<const std::uint8_t> bytes)
{
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (size > Size() - selection.start) {
        return HexOutcome::kOutside;
    }
    if (size == 0) {
        return HexOutcome::kDone;
    }
    try {
        HexUndoEntry entry = m_undo.Prepare(HexChangeKind::kOverwritten, selection.start, size);
        entry.saved.resize(bytes.size());
        m_bytes.Read(Unsigned(selection.start), entry.saved);
        m_bytes.Write(Unsigned(selection.start), bytes);
        m_undo.Commit(std::move(entry));
    } catch (const std::bad_alloc&) {
        return HexOutcome::kTooMuchChanged;
    }
    return HexOutcome::kDone;
}

HexOutcome CHexData::OverwriteWithZeros()
{
    const Range range = SelectedRange();
    if (range.size == 0) {
        return HexOutcome::kNothing;
    }
    try {
        HexUndoEntry entry = m_undo.Prepare(HexChangeKind::kOverwritten, range.start, range.size);
        entry.saved.resize(static_cast<std::size_t>(range.size));
        m_bytes.Read(Unsigned(range.start), entry.saved);
        m_bytes.Fill(Unsigned(range.start), Unsigned(range.size), 0);
        m_undo.Commit(std::move(entry));
    } catch (const std::bad_alloc&) {
        return HexOutcome::kTooMuchChanged;
    }
    return HexOutcome::kDone;
}

HexOutcome CHexData::Insert(std::span<const std::uint8_t> bytes)
{
    if (bytes.empty()) {
        return HexOutcome::kDone;
    }
    if (selection.start > selection.end) {
        if (const HexOutcome outcome = Delete(); outcome != HexOutcome::kDone) {
            return outcome;
        }
    }
    const auto size = static_cast<std::int64_t>(bytes.size());
    try {
        HexUndoEntry entry = m_undo.Prepare(HexChangeKind::kInserted, selection.start, size);
        m_bytes.Insert(Unsigned(selection.start), bytes);
        m_undo.Commit(std::move(entry));
    } catch (const std::bad_alloc&) {
        return HexOutcome::kNoMemory;
    }
    selection.end = selection.start + size - 1;
    return HexOutcome::kDone;
}

HexOutcome CHexData::Delete()
{
    const Range range = SelectedRange();
    if (range.size == 0) {
        return HexOutcome::kNothing;
    }
    try {
        HexUndoEntry entry = m_undo.Prepare(HexChangeKind::kDeleted, range.start, range.size);
        entry.saved.resize(static_cast<std::size_t>(range.size));
        m_bytes.Read(Unsigned(range.start), entry.saved);
        m_bytes.Erase(Unsigned(range.start), Unsigned(range.size));
        m_undo.Commit(std::move(entry));
    } catch (const std::bad_alloc&) {
        return HexOutcome::kTooMuchChanged;
    }
    selection = {static_cast<std::int64_t>(HexZone::kHighDigit), range.start, range.start};
    return HexOutcome::kDone;
}

HexOutcome CHexData::Undo()
{
    if (m_undo.Count() == 0) {
        return HexOutcome::kNothing;
    }
    const HexOutcome outcome = Turn(m_undo.ForUndo());
    if (outcome == HexOutcome::kDone) {
        m_undo.StepBack();
    }
    return outcome;
}

HexOutcome CHexData::Redo()
{
    if (m_undo.Count() == m_undo.Top()) {
        return HexOutcome::kNothing;
    }
    const HexOutcome outcome = Turn(m_undo.ForRedo());
    if (outcome == HexOutcome::kDone) {
        m_undo.StepForward();
    }
    return outcome;
}

/// Does the inverse of the entry, which becomes the entry of that.
HexOutcome CHexData::Turn(HexUndoEntry& entry)
{
    const std::uint64_t position = Unsigned(entry.position);
    switch (entry.kind) {
    case HexChangeKind::kInserted:
        entry.saved.resize(static_cast<std::size_t>(entry.size)); // the slot was reserved when the entry was made
        m_bytes.Read(position, entry.saved);
        m_bytes.Erase(position, Unsigned(entry.size));
        entry.kind = HexChangeKind::kDeleted;
        selection = {static_cast<std::int64_t>(HexZone::kHighDigit), entry.position, entry.position};
        break;
    case HexChangeKind::kDeleted:
        try {
            m_bytes.Insert(position, entry.saved);
        } catch (const std::bad_alloc&) {
            return HexOutcome::kNoMemory;
        }
        entry.saved.clear();
        entry.kind = HexChangeKind::kInserted;
        Select(entry.position, entry.size);
        break;
    case HexChangeKind::kOverwritten:
        m_bytes.Swap(position, entry.saved);
        Select(entry.position, entry.size);
        break;
    }
    return HexOutcome::kDone;
}

HexOutcome CHexData::Copy()
{
    const Range range = SelectedRange();
    if (range.size == 0) {
        return HexOutcome::kNothing;
    }
    try {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(range.size));
        m_bytes.Read(Unsigned(range.start), bytes);
        m_pClipboard->sourceName = mode == HexMode::kFile ? fileName : std::string();
        m_pClipboard->data = std::move(bytes);
    } catch (const std::bad_alloc&) {
        return HexOutcome::kNothing;
    }
    m_pClipboard->position = range.start;
    m_pClipboard->kind = HexClipboardKind::kBytes;
    return HexOutcome::kDone;
}

bool CHexData::CanPaste() const
{
    return !m_pClipboard->data.empty();
}

HexOutcome CHexData::Paste()
{
    if (!CanPaste() || m_pClipboard->kind != HexClipboardKind::kBytes) {
        return HexOutcome::kNothing;
    }
    selection.zone = kByteZone;
    return Insert(m_pClipboard->data);
}

void CHexData::SetSelection(const HexSelection& wanted)
{
    const bool isZone = wanted.zone >= 0 && wanted.zone <= kByteZone;
    selection.zone = isZone ? wanted.zone : static_cast<std::int64_t>(HexZone::kNone);
    selection.start = std::clamp<std::int64_t>(wanted.start, 0, Size());
    selection.end = std::clamp<std::int64_t>(wanted.end, 0, Size());
}

void CHexData::Select(std::int64_t start, std::int64_t size)
{
    selection = {kByteZone, start, start + std::max<std::int64_t>(size, 1) - 1};
}

CHexData::Range CHexData::SelectedRange() const
{
    const std::int64_t start = std::min(selection.start, selection.end);
    const std::int64_t end = std::min(std::max(selection.start, selection.end), Size() - 1);
    return {start, std::max<std::int64_t>(end - start + 1, 0)};
}

} // namespace tolvar
