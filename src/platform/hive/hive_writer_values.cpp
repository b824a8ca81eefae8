#include <algorithm>

#include "platform/hive/hive_writer.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kLeastList = 4; // values that a new list has room for

} // namespace

Result<std::vector<CellOffset>> HiveWriter::DataCells(const ValueRecord& record) const
{
    std::vector<CellOffset> cells;
    if (record.isInline) {
        return cells;
    }
    const Checked<DataView> data = m_hive.Data(record);
    if (!data) {
        return tl::unexpected(ToError(data.error()));
    }
    if (data->IsSegmented()) {
        for (std::uint32_t i = 0; i < data->segmentCount; ++i) {
            const CellOffset segment = data->Segment(i);
            if (const Checked<CellView> cell = m_hive.Cell(segment); !cell) {
                return tl::unexpected(ToError(cell.error()));
            }
            cells.push_back(segment);
        }
        cells.push_back(data->listCell);
    }
    cells.push_back(record.dataCell);
    return cells;
}

Result<CellOffset> HiveWriter::WriteBigData(std::span<const std::byte> data)
{
    const auto count = static_cast<std::uint32_t>((data.size() + kBigDataSegment - 1) / kBigDataSegment);
    std::vector<CellOffset> made;
    const auto allocate = [&](std::uint32_t payload) {
        const Result<CellOffset> cell = m_editor.Allocate(payload);
        if (cell) {
            made.push_back(*cell);
        } else {
            std::ranges::for_each(made, [this](CellOffset taken) { m_editor.Free(taken); });
        }
        return cell;
    };
    const Result<CellOffset> head = allocate(kBigDataHead);
    const Result<CellOffset> list = head ? allocate(4 * count) : head;
    if (!list) {
        return list;
    }
    m_editor.Store(*head, big_data_fields::kSignature, signatures::kBigData);
    m_editor.Store(*head, big_data_fields::kCount, static_cast<std::uint16_t>(count));
    m_editor.Store(*head, big_data_fields::kList, *list);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Result<CellOffset> segment = allocate(kBigDataSegmentCell);
        if (!segment) {
            return segment;
        }
        const std::size_t begin = std::size_t{i} * kBigDataSegment;
        m_editor.StoreBytes(*segment, 0,
                            data.subspan(begin, std::min<std::size_t>(kBigDataSegment, data.size() - begin)));
        m_editor.Store(*list, OffsetAt(i), *segment);
    }
    return head;
}

Result<CellOffset> HiveWriter::WriteData(std::span<const std::byte> data)
{
    if (data.size() > kBigDataSegment && m_hive.Base().minor >= kBigDataMinor) {
        if (data.size() > kMaxSegments * kBigDataSegment) {
            return Failure(ErrorCode::kInvalidParameter, "data of more than a gigabyte");
        }
        return WriteBigData(data);
    }
    if (data.size() > kMaxCell - kCellHeader) {
        return Failure(ErrorCode::kInvalidParameter, "a hive of this version holds data of up to a megabyte");
    }
    const Result<CellOffset> cell = m_editor.Allocate(static_cast<std::uint32_t>(data.size()));
    if (cell) {
        m_editor.StoreBytes(*cell, 0, data);
    }
    return cell;
}

Result<CellOffset> HiveWriter::WriteRecord(std::u16string_view name, std::uint32_t type)
{
    const std::vector<std::byte> stored = StoredName(name);
    const Result<CellOffset> record =
        m_editor.Allocate(static_cast<std::uint32_t>(value_fields::kName + stored.size()));
    if (!record) {
        return record;
    }
    m_editor.Store(*record, value_fields::kSignature, signatures::kValue);
    m_editor.Store(*record, value_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    m_editor.Store(*record, value_fields::kType, type);
    m_editor.Store(*record, value_fields::kFlags,
                   FitsLatin1(name) && !name.empty() ? kLatin1ValueName : std::uint16_t{0});
    m_editor.StoreBytes(*record, value_fields::kName, stored);
    return record;
}

void HiveWriter::StoreDataField(CellOffset record, std::uint32_t type, std::span<const std::byte> data,
                                CellOffset dataCell)
{
    const bool isInline = data.size() <= kMaxInline;
    m_editor.Store(record, value_fields::kDataLength,
                   static_cast<std::uint32_t>(data.size()) | (isInline ? kInlineFlag : 0U));
    m_editor.Store(record, value_fields::kData, isInline ? 0U : dataCell.value);
    if (isInline) {
        m_editor.StoreBytes(record, value_fields::kData.at, data);
    }
    m_editor.Store(record, value_fields::kType, type);
}

/// Stores data in the cell that holds the old one, where it fits without waste. False if it has to go elsewhere.
bool HiveWriter::OverwriteData(const ValueRecord& record, std::span<const std::byte> data)
{
    const bool isBig = data.size() > kBigDataSegment && m_hive.Base().minor >= kBigDataMinor;
    const Checked<DataView> old = m_hive.Data(record);
    if (record.isInline || data.size() <= kMaxInline || isBig || !old || old->IsSegmented()) {
        return false;
    }
    const std::uint32_t capacity = m_editor.Capacity(record.dataCell);
    if (capacity < data.size() || capacity / 4 > data.size() + 16) {
        return false;
    }
    m_editor.StoreBytes(record.dataCell, 0, data);
    return true;
}

/// Answers the cell of the list, which may have moved.
Result<CellOffset> HiveWriter::AppendToList(const KeyNode& key, CellOffset value)
{
    if (key.valueCount >= kMaxValues) {
        return Failure(ErrorCode::kNotEnoughMemory, "a key holds at most 262,143 values");
    }
    Result<CellOffset> list = key.valueList;
    if (key.valueCount == 0) {
        list = m_editor.Allocate(4 * kLeastList);
    } else if (m_editor.Capacity(key.valueList) < 4 * (key.valueCount + 1)) {
        const std::uint32_t wanted = std::min(key.valueCount + key.valueCount / 2 + 1, kMaxValues);
        list = m_editor.Grow(key.valueList, 4 * wanted, 4 * key.valueCount);
    }
    if (list) {
        m_editor.Store(*list, OffsetAt(key.valueCount), value);
        m_editor.Store(key.offset, key_fields::kValueList, *list);
        m_editor.Store(key.offset, key_fields::kValueCount, key.valueCount + 1);
    }
    return list;
}

/// Gives a value data that lies elsewhere. Old data that can't be read is left where it is: what it refers to is
/// anyone's guess.
Result<void> HiveWriter::ReplaceData(const ValueRecord& record, std::uint32_t type, std::span<const std::byte> data)
{
    const Result<CellOffset> dataCell = data.size() > kMaxInline ? WriteData(data) : Result<CellOffset>(CellOffset{});
    if (!dataCell) {
        return tl::unexpected(dataCell.error());
    }
    const std::vector<CellOffset> old = DataCells(record).value_or(std::vector<CellOffset>());
    StoreDataField(record.offset, type, data, *dataCell);
    std::ranges::for_each(old, [this](CellOffset cell) { m_editor.Free(cell); });
    return {};
}

Result<void> HiveWriter::AddValue(const KeyNode& key, std::u16string_view name, std::uint32_t type,
                                  std::span<const std::byte> data)
{
    const Result<CellOffset> record = WriteRecord(name, type);
    if (!record) {
        return tl::unexpected(record.error());
    }
    const Result<CellOffset> dataCell = data.size() > kMaxInline ? WriteData(data) : Result<CellOffset>(CellOffset{});
    if (!dataCell) {
        m_editor.Free(*record);
        return tl::unexpected(dataCell.error());
    }
    StoreDataField(*record, type, data, *dataCell);
    const Result<CellOffset> list = AppendToList(key, *record);
    if (!list) {
        const std::vector<CellOffset> cells = DataCells(*m_hive.Value(*record)).value_or(std::vector<CellOffset>());
        std::ranges::for_each(cells, [this](CellOffset cell) { m_editor.Free(cell); });
        m_editor.Free(*record);
        return tl::unexpected(list.error());
    }
    m_editor.Lookups().NoteAdded(key.offset, *list, key.valueCount + 1, name, {*record, key.valueCount});
    return {};
}

/// Adds a value to a key that has none of that name, and leaves the key's time alone.
Result<void> HiveWriter::AddFreshValue(CellOffset key, std::u16string_view name, std::uint32_t type,
                                       std::span<const std::byte> data)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (auto added = AddValue(*node, name, type, data); !added) {
        return added;
    }
    RaiseField(key, key_fields::kMaxValueName, static_cast<std::uint32_t>(2 * name.size()));
    RaiseField(key, key_fields::kMaxValueData, static_cast<std::uint32_t>(data.size()));
    return {};
}

Result<void> HiveWriter::SetValue(CellOffset key, std::u16string_view name, std::uint32_t type,
                                  std::span<const std::byte> data)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    const Checked<std::optional<ValueRecord>> found = m_hive.FindValue(*node, name);
    return found ? SetFoundValue(key, *found, name, type, data) : tl::unexpected(ToError(found.error()));
}

Result<void> HiveWriter::SetFoundValue(CellOffset key, const std::optional<ValueRecord>& found,
                                       std::u16string_view name, std::uint32_t type, std::span<const std::byte> data)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (name.size() > kMaxValueName) {
        return Failure(ErrorCode::kInvalidParameter, "a value's name has at most 16,383 units");
    }
    if (found && OverwriteData(*found, data)) {
        StoreDataField(found->offset, type, data, found->dataCell);
    } else {
        const Result<void> stored = found ? ReplaceData(*found, type, data) : AddValue(*node, name, type, data);
        if (!stored) {
            return stored;
        }
    }
    RaiseField(key, key_fields::kMaxValueName, static_cast<std::uint32_t>(2 * name.size()));
    RaiseField(key, key_fields::kMaxValueData, static_cast<std::uint32_t>(data.size()));
    TouchKey(key);
    return {};
}

Result<void> HiveWriter::DeleteValue(CellOffset key, std::u16string_view name)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    const Checked<std::optional<PlacedValue>> found = m_hive.FindPlacedValue(*node, name);
    if (!found || !*found) {
        return found ? Failure(ErrorCode::kFileNotFound) : tl::unexpected(ToError(found.error()));
    }
    const std::vector<CellOffset> data = DataCells((*found)->record).value_or(std::vector<CellOffset>());
    const std::uint32_t behind = 4 * (node->valueCount - (*found)->place - 1);
    if (node->valueCount == 1) {
        m_editor.Free(node->valueList);
        m_editor.Store(key, key_fields::kValueList, CellOffset{});
    } else {
        std::byte* place = m_editor.Touch(node->valueList, 4 * (*found)->place, behind + 4);
        std::memmove(place, place + 4, behind);
        std::memset(place + behind, 0, 4);
    }
    m_editor.Store(key, key_fields::kValueCount, node->valueCount - 1);
    m_editor.Lookups().NoteRemoved(key, node->valueList, node->valueCount - 1, (*found)->record.name,
                                   (*found)->record.offset);
    std::ranges::for_each(data, [this](CellOffset cell) { m_editor.Free(cell); });
    m_editor.Free((*found)->record.offset);
    TouchKey(key);
    return {};
}

Result<void> HiveWriter::RenameValue(CellOffset key, std::u16string_view name, std::u16string_view newName)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    const Checked<std::optional<PlacedValue>> found = m_hive.FindPlacedValue(*node, name);
    const Checked<std::optional<ValueRecord>> other = m_hive.FindValue(*node, newName);
    if (!found || !other || !*found) {
        return found && other ? Failure(ErrorCode::kFileNotFound)
                              : tl::unexpected(ToError(found ? other.error() : found.error()));
    }
    if (*other && (*other)->offset != (*found)->record.offset) {
        return Failure(ErrorCode::kAlreadyExists);
    }
    if (newName.size() > kMaxValueName) {
        return Failure(ErrorCode::kInvalidParameter, "a value's name has at most 16,383 units");
    }
    const ValueRecord& old = (*found)->record;
    const Result<CellOffset> record = WriteRecord(newName, old.type);
    if (!record) {
        return tl::unexpected(record.error());
    }
    const CellView cell = *m_hive.Cell(old.offset);
    m_editor.Store(*record, value_fields::kDataLength, cell.Get(value_fields::kDataLength));
    m_editor.Store(*record, value_fields::kData, cell.Get(value_fields::kData));
    m_editor.Store(node->valueList, OffsetAt((*found)->place), *record);
    m_editor.Lookups().NoteRemoved(key, node->valueList, node->valueCount, old.name, old.offset);
    m_editor.Lookups().NoteAdded(key, node->valueList, node->valueCount, newName, {*record, (*found)->place});
    m_editor.Free(old.offset);
    RaiseField(key, key_fields::kMaxValueName, static_cast<std::uint32_t>(2 * newName.size()));
    TouchKey(key);
    return {};
}

} // namespace tolvar
