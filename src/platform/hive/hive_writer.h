#pragma once

#include <functional>
#include <string_view>

#include "platform/hive/hive_editor.h"
#include "platform/hive/subkey_list_editor.h"
#include "platform/system/clock.h"

namespace tolvar {

/// Changes keys and values of a hive in memory, by the rules that the platform keeps: lists sorted, maxima true,
/// security shared, last write times moved on. A call that fails changes nothing that a reader could see.
///
/// Errors of all: kRegistryCorrupt where a record that has to be changed is damaged, with the place: nothing is written
/// into what can't be read. kNotEnoughMemory for a hive that can't grow.
class HiveWriter {
public:
    HiveWriter(HiveEditor& editor, const Clock& clock) : m_editor(editor), m_hive(editor.Reader()), m_clock(clock) {}

    /// Makes a subkey. It shares its parent's security.
    /// Errors: kAlreadyExists; kInvalidParameter for a name that is empty, longer than kMaxKeyName or holds a
    /// backslash, for a class of more than 32,767 units, and below level 512.
    [[nodiscard]] Result<CellOffset> CreateKey(CellOffset parent, std::u16string_view name,
                                               std::u16string_view className = {});

    /// Deletes a key with its values. Errors: kAccessDenied for the root, a key marked undeletable, or one with
    /// subkeys.
    [[nodiscard]] Result<void> DeleteKey(CellOffset key);

    /// Makes a key without values or subkeys a link: the value SymbolicLinkValue, of type 6, then names its target.
    /// Errors: kAccessDenied for a key that holds anything, or the root.
    [[nodiscard]] Result<void> MakeLink(CellOffset key);

    /// Gives a key another name. Answers where it is now: a longer name may need a larger cell.
    /// Errors: kAlreadyExists; kInvalidParameter as CreateKey; kAccessDenied for the root.
    [[nodiscard]] Result<CellOffset> RenameKey(CellOffset key, std::u16string_view name);

    /// Stores a value under `name`, in the place of one that is called so without regard to case, which keeps its name.
    /// `data` must not lie in this hive. Errors: kInvalidParameter for a name or data beyond the format's limits.
    [[nodiscard]] Result<void> SetValue(CellOffset key, std::u16string_view name, std::uint32_t type,
                                        std::span<const std::byte> data);

    /// SetValue for a caller that has just looked the name up: `found` is what Hive::FindValue answers.
    [[nodiscard]] Result<void> SetFoundValue(CellOffset key, const std::optional<ValueRecord>& found,
                                             std::u16string_view name, std::uint32_t type,
                                             std::span<const std::byte> data);

    /// Errors: kFileNotFound.
    [[nodiscard]] Result<void> DeleteValue(CellOffset key, std::u16string_view name);

    /// Errors: kAlreadyExists where another value is called so; kFileNotFound.
    [[nodiscard]] Result<void> RenameValue(CellOffset key, std::u16string_view name, std::u16string_view newName);

    /// Gives a key this security descriptor, and shares the record where another key has an equal one.
    /// Errors: kInvalidParameter for one of more than 64 KiB.
    [[nodiscard]] Result<void> SetSecurity(CellOffset key, std::span<const std::byte> descriptor);

    /// Makes `target` a true copy of a key of another hive, with all below it: values, subkeys, classes, times and
    /// security. What `target` held is gone. A record of `source` that can't be read ends it with its error, before
    /// anything is changed.
    [[nodiscard]] Result<void> Replace(CellOffset target, const Hive& source, CellOffset top);

    /// Lays a true copy of a key of another hive over `target`: its values, subkeys, classes, times and security, with
    /// all below it. What `target` holds under other names stays, and so does the spelling of names that are there
    /// already. A record of `source` that can't be read ends it with its error, before anything is changed.
    [[nodiscard]] Result<void> Merge(CellOffset target, const Hive& source, CellOffset top);

    /// Deletes a key with all below it, or nothing: everything is read before the first cell is given back.
    /// `onKey` is told of every key that goes. Errors: kAccessDenied for the root, or where any of the keys is marked
    /// undeletable.
    [[nodiscard]] Result<void> DeleteTree(CellOffset key, const std::function<void(CellOffset)>& onKey);

    /// SetValue, but a value that is not there yet takes place `index` among the others, or the last one.
    [[nodiscard]] Result<void> InsertValue(CellOffset key, std::uint32_t index, std::u16string_view name,
                                           std::uint32_t type, std::span<const std::byte> data);

    /// Gives a key another class, empty for none. Errors: kInvalidParameter for more than 32,767 units.
    [[nodiscard]] Result<void> SetClass(CellOffset key, std::u16string_view className);

    /// Sets the last write time, for copies that are to be true ones.
    [[nodiscard]] Result<void> SetLastWrite(CellOffset key, std::uint64_t time);

private:
    [[nodiscard]] Error ToError(const HiveFault& fault) const { return m_hive.ToError(fault); }
    [[nodiscard]] Result<KeyNode> Key(CellOffset key) const;
    [[nodiscard]] Result<SubkeyPlace> PlaceOf(const KeyNode& parent, std::u16string_view name);
    [[nodiscard]] unsigned LevelOf(const KeyNode& key) const;
    void TouchKey(CellOffset key);

    [[nodiscard]] Result<CellOffset> WriteNode(const KeyNode& parent, std::u16string_view name,
                                               std::u16string_view className);
    [[nodiscard]] Result<CellOffset> MoveNode(const KeyNode& key, std::u16string_view name);
    [[nodiscard]] Result<void> PointChildrenTo(const KeyNode& key, CellOffset parent);
    void StoreName(CellOffset cell, std::u16string_view name);
    void StoreNodeName(CellOffset cell, std::u16string_view name);
    void RaiseField(CellOffset key, Field<std::uint32_t> field, std::uint32_t value);

    [[nodiscard]] Result<void> ShareSecurity(CellOffset security, int change);
    [[nodiscard]] Result<CellOffset> FindOrMakeSecurity(CellOffset ring, std::span<const std::byte> descriptor);
    [[nodiscard]] Result<void> Empty(CellOffset key);
    [[nodiscard]] Result<void> CopyInto(CellOffset target, const Hive& source, const KeyNode& node);
    void ReleaseSecurity(CellOffset security, std::uint32_t keys = 1);

    struct DoomedTree;
    [[nodiscard]] Result<void> CollectKey(CellOffset key, DoomedTree& tree) const;
    [[nodiscard]] Result<void> CollectLists(const KeyNode& node, DoomedTree& tree) const;
    [[nodiscard]] Result<void> MergeKey(CellOffset target, bool isNew, const Hive& source, const KeyNode& node);
    [[nodiscard]] Result<void> MergeValues(CellOffset target, bool isNew, const Hive& source, const KeyNode& node);

    [[nodiscard]] Result<CellOffset> AppendToList(const KeyNode& key, CellOffset value);
    [[nodiscard]] Result<CellOffset> WriteRecord(std::u16string_view name, std::uint32_t type);
    [[nodiscard]] Result<CellOffset> WriteData(std::span<const std::byte> data);
    [[nodiscard]] Result<void> ReplaceData(const ValueRecord& record, std::uint32_t type,
                                           std::span<const std::byte> data);
    [[nodiscard]] Result<void> AddValue(const KeyNode& key, std::u16string_view name, std::uint32_t type,
                                        std::span<const std::byte> data);
    [[nodiscard]] Result<void> AddFreshValue(CellOffset key, std::u16string_view name, std::uint32_t type,
                                             std::span<const std::byte> data);
    [[nodiscard]] Result<CellOffset> WriteBigData(std::span<const std::byte> data);
    [[nodiscard]] bool OverwriteData(const ValueRecord& record, std::span<const std::byte> data);
    [[nodiscard]] Result<std::vector<CellOffset>> DataCells(const ValueRecord& record) const;
    /// What goes with a key beside its own cell: its values with their data, their list, its class.
    [[nodiscard]] Result<std::vector<CellOffset>> OwnCells(const KeyNode& node) const;
    void StoreDataField(CellOffset record, std::uint32_t type, std::span<const std::byte> data, CellOffset dataCell);

    HiveEditor& m_editor;
    const Hive& m_hive;
    const Clock& m_clock;
};

} // namespace tolvar
