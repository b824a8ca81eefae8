#include <algorithm>

#include "platform/hive/hive_writer.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kLeastList = 4; // values that a new list has room for

Result<void> CheckValueName(std::u16string_view name)
{
    return name.size() <= kMaxValueName
               ? Result<void>()
               : Failure(ErrorCode::kInvalidParameter, "a value's name has at most 16,383 units");
}

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
        cells.reserve(data->segmentCount + 2);
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

Result<std::vector<CellOffset>> HiveWriter::OwnCells(const KeyNode& node) const
{
    const Checked<ValueListView> values = m_hive.Values(node);
    if (!values) {
        return tl::unexpected(ToError(values.error()));
    }
    std::vector<CellOffset> cells;
    // What lies in a list or record that stays for someone else stays with it.
    for (std::uint32_t i = 0; i < values->count && CheckSole(values->cell); ++i) {
        const Checked<ValueRecord> value = m_hive.Value((*values)[i]);
        if (!value) {
            return tl::unexpected(ToError(value.error()));
        }
        cells.push_back(value->offset);
        if (CheckSole(value->offset)) {
            const Result<std::vector<CellOffset>> data = DataCells(*value);
            if (!data) {
                return tl::unexpected(data.error());
            }
            cells.insert(cells.end(), data->begin(), data->end());
        }
    }
    if (values->count != 0) {
        cells.push_back(values->cell);
    }
    if (const Checked<NameView> name = m_hive.ClassName(node); name && name->data != nullptr) {
        cells.push_back(node.classCell);
    }
    return cells;
}

Result<CellOffset> HiveWriter::WriteBigData(ValueSource& data)
{
    const std::size_t size = data.Size();
    const auto count = static_cast<std::uint32_t>((size + kBigDataSegment - 1) / kBigDataSegment);
    const Result<CellOffset> head = m_editor.Allocate(kBigDataHead);
    const Result<CellOffset> list = head ? m_editor.Allocate(4 * count) : head;
    if (!list) {
        return list;
    }
    m_editor.Store(*head, big_data_fields::kSignature, signatures::kBigData);
    m_editor.Store(*head, big_data_fields::kCount, static_cast<std::uint16_t>(count));
    m_editor.Store(*head, big_data_fields::kList, *list);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Result<CellOffset> segment = m_editor.Allocate(kBigDataSegmentCell);
        if (!segment) {
            return segment;
        }
        const auto part =
            static_cast<std::uint32_t>(std::min<std::size_t>(kBigDataSegment, size - std::size_t{i} * kBigDataSegment));
        if (auto read = data.Read({m_editor.Touch(*segment, 0, part), part}); !read) {
            return tl::unexpected(read.error());
        }
        m_editor.Store(*list, OffsetAt(i), *segment);
    }
    return head;
}

Result<CellOffset> HiveWriter::WriteData(ValueSource& data)
{
    const bool hasBigData = m_hive.Base().minor >= kBigDataMinor;
    if (hasBigData && data.Size() > kMaxSegments * kBigDataSegment) {
        return Failure(ErrorCode::kInvalidParameter, "data of more than a gigabyte");
    }
    if (hasBigData && data.Size() > kBigDataSegment) {
        return WriteBigData(data);
    }
    if (data.Size() > kMaxCell - kCellHeader) {
        return Failure(ErrorCode::kInvalidParameter, "a hive of this version holds data of up to a megabyte");
    }
    const auto size = static_cast<std::uint32_t>(data.Size());
    const Result<CellOffset> cell = m_editor.Allocate(size);
    const Result<void> read = cell ? data.Read({m_editor.Touch(*cell, 0, size), size}) : Result<void>();
    return read ? cell : tl::unexpected(read.error());
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

/// Stores data that lies elsewhere than the old one, and all fields that tell of it.
Result<void> HiveWriter::StoreData(CellOffset record, NewValue& value)
{
    const auto size = static_cast<std::uint32_t>(value.data.Size());
    const bool isInline = value.data.Size() <= kMaxInline;
    CellOffset dataCell;
    if (!isInline) {
        const Result<CellOffset> made = WriteData(value.data);
        if (!made) {
            return tl::unexpected(made.error());
        }
        dataCell = *made;
    } else if (!value.isTombstone) {
        dataCell.value = 0;
        if (auto read = value.data.Read({reinterpret_cast<std::byte*>(&dataCell.value), size}); !read) {
            return read;
        }
    }
    const auto flags = m_hive.Cell(record)->Get(value_fields::kFlags) & ~std::uint32_t{kTombstone};
    m_editor.Store(record, value_fields::kDataLength, size | (isInline && !value.isTombstone ? kInlineFlag : 0U));
    m_editor.Store(record, value_fields::kData, dataCell.value);
    m_editor.Store(record, value_fields::kType, value.type);
    m_editor.Store(record, value_fields::kFlags,
                   static_cast<std::uint16_t>(flags | (value.isTombstone ? kTombstone : 0U)));
    return {};
}

/// Whether data fits into the cell that holds the old one without waste, and nothing else would see it change.
bool HiveWriter::FitsOldData(const ValueRecord& record, std::size_t size) const
{
    const bool isBig = size > kBigDataSegment && m_hive.Base().minor >= kBigDataMinor;
    const Checked<DataView> old = m_hive.Data(record);
    if (record.isInline || size <= kMaxInline || isBig || !old || old->IsSegmented() || !CheckSole(record.dataCell)) {
        return false;
    }
    const std::uint32_t capacity = m_editor.Capacity(record.dataCell);
    return capacity >= size && capacity / 4 <= size + 16;
}

/// Returns the cell of the list, which may have moved.
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

/// Gives a value other data. Old data that can't be read is left where it is: what it refers to is anyone's guess.
Result<void> HiveWriter::ChangeValue(const ValueRecord& record, NewValue& value)
{
    if (auto sole = CheckSole(record.offset); !sole) {
        return sole;
    }
    const std::size_t size = value.data.Size();
    if (!FitsOldData(record, size)) {
        const std::vector<CellOffset> old = DataCells(record).value_or(std::vector<CellOffset>());
        const Result<void> stored = StoreData(record.offset, value);
        if (stored) {
            std::ranges::for_each(old, [this](CellOffset cell) { m_editor.Free(cell); });
        }
        return stored;
    }
    m_editor.Store(record.offset, value_fields::kDataLength, static_cast<std::uint32_t>(size));
    m_editor.Store(record.offset, value_fields::kType, value.type);
    return value.data.Read({m_editor.Touch(record.dataCell, 0, static_cast<std::uint32_t>(size)), size});
}

Result<void> HiveWriter::AddValue(const KeyNode& key, NewValue& value)
{
    const Result<CellOffset> record = WriteRecord(value.name, value.type);
    const Result<void> stored = record ? StoreData(*record, value) : tl::unexpected(record.error());
    const Result<CellOffset> list = stored ? AppendToList(key, *record) : tl::unexpected(stored.error());
    if (!list) {
        return tl::unexpected(list.error());
    }
    m_editor.Lookups().NoteAdded(key.offset, *list, key.valueCount + 1, value.name, {*record, key.valueCount});
    return {};
}

/// Stores a value, and leaves the key's time alone. `isNew` is for a key without one of that name.
Result<void> HiveWriter::PutValue(CellOffset key, bool isNew, NewValue value)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    const Checked<std::optional<ValueRecord>> found =
        isNew ? Checked<std::optional<ValueRecord>>(std::nullopt) : m_hive.FindValue(*node, value.name);
    return found ? PutFoundValue(*node, *found, std::move(value)) : tl::unexpected(ToError(found.error()));
}

Result<void> HiveWriter::PutFoundValue(const KeyNode& key, const std::optional<ValueRecord>& found, NewValue value)
{
    if (auto valid = CheckValueName(value.name); !valid) {
        return valid;
    }
    if (auto sole = CheckSole(key.valueCount != 0 ? key.valueList : CellOffset{}); !sole) {
        return sole;
    }
    if (auto stored = found ? ChangeValue(*found, value) : AddValue(key, value); !stored) {
        return stored;
    }
    RaiseField(key.offset, key_fields::kMaxValueName, static_cast<std::uint32_t>(2 * value.name.size()));
    RaiseField(key.offset, key_fields::kMaxValueData, static_cast<std::uint32_t>(value.data.Size()));
    return {};
}

Result<void> HiveWriter::SetValue(CellOffset key, std::u16string_view name, std::uint32_t type,
                                  std::span<const std::byte> data)
{
    return InsertValue(key, kMaxValues, name, type, data);
}

Result<void> HiveWriter::SetFoundValue(CellOffset key, const std::optional<ValueRecord>& found,
                                       std::u16string_view name, std::uint32_t type, std::span<const std::byte> data)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (!node) {
            return tl::unexpected(node.error());
        }
        if (auto put = PutFoundValue(*node, found, {name, type, ValueSource(data)}); !put) {
            return put;
        }
        TouchKey(key);
        return {};
    });
}

Result<void> HiveWriter::InsertValue(CellOffset key, std::uint32_t index, std::u16string_view name, std::uint32_t type,
                                     std::span<const std::byte> data)
{
    return AsOne([&]() -> Result<void> {
        const Checked<KeyNode> before = m_hive.Key(key);
        if (auto put = PutValue(key, false, {name, type, ValueSource(data)}); !put) {
            return put;
        }
        const KeyNode after = *m_hive.Key(key);
        if (after.valueCount != before->valueCount && index < before->valueCount) {
            const std::uint32_t behind = 4 * (before->valueCount - index);
            std::byte* place = m_editor.Touch(after.valueList, 4 * index, behind + 4);
            std::rotate(place, place + behind, place + behind + 4);
        }
        TouchKey(key);
        return {};
    });
}

Result<void> HiveWriter::DeleteValue(CellOffset key, std::u16string_view name)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (!node) {
            return tl::unexpected(node.error());
        }
        const Checked<std::optional<PlacedValue>> found = m_hive.FindPlacedValue(*node, name);
        if (!found || !*found) {
            return found ? Failure(ErrorCode::kFileNotFound) : tl::unexpected(ToError(found.error()));
        }
        if (auto sole = CheckSole(node->valueList); !sole) {
            return sole;
        }
        const ValueRecord& record = (*found)->record;
        std::vector<CellOffset> freed = {record.offset};
        if (CheckSole(record.offset)) { // otherwise its data stays with it
            const auto data = DataCells(record).value_or(std::vector<CellOffset>());
            freed.insert(freed.end(), data.begin(), data.end());
        }
        if (node->valueCount == 1) {
            freed.push_back(node->valueList);
            m_editor.Store(key, key_fields::kValueList, CellOffset{});
        } else {
            m_editor.CloseGap(node->valueList, 4 * (*found)->place, 4, 4 * node->valueCount);
        }
        m_editor.Store(key, key_fields::kValueCount, node->valueCount - 1);
        m_editor.Lookups().NoteRemoved(key, node->valueList, node->valueCount - 1, record.name, record.offset);
        std::ranges::for_each(freed, [this](CellOffset cell) { m_editor.Free(cell); });
        TouchKey(key);
        return {};
    });
}

Result<void> HiveWriter::RenameValue(CellOffset key, std::u16string_view name, std::u16string_view newName)
{
    return AsOne([&]() -> Result<void> {
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
        const ValueRecord& old = (*found)->record;
        if (*other && (*other)->offset != old.offset) {
            return Failure(ErrorCode::kAlreadyExists);
        }
        for (const Result<void>& valid : {CheckValueName(newName), CheckSole(node->valueList), CheckSole(old.offset)}) {
            if (!valid) {
                return valid;
            }
        }
        const Result<CellOffset> record = WriteRecord(newName, old.type);
        if (!record) {
            return tl::unexpected(record.error());
        }
        const CellView cell = *m_hive.Cell(old.offset);
        const auto flags = m_hive.Cell(*record)->Get(value_fields::kFlags) | (old.flags & std::uint32_t{kTombstone});
        m_editor.Store(*record, value_fields::kFlags, static_cast<std::uint16_t>(flags));
        m_editor.Store(*record, value_fields::kDataLength, cell.Get(value_fields::kDataLength));
        m_editor.Store(*record, value_fields::kData, cell.Get(value_fields::kData));
        m_editor.Store(node->valueList, OffsetAt((*found)->place), *record);
        m_editor.Lookups().NoteRemoved(key, node->valueList, node->valueCount, old.name, old.offset);
        m_editor.Lookups().NoteAdded(key, node->valueList, node->valueCount, newName, {*record, (*found)->place});
        m_editor.Free(old.offset);
        RaiseField(key, key_fields::kMaxValueName, static_cast<std::uint32_t>(2 * newName.size()));
        TouchKey(key);
        return {};
    });
}

} // namespace tolvar
