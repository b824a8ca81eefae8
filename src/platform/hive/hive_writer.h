#pragma once

#include <functional>
#include <new>
#include <string_view>

#include "platform/hive/hive_editor.h"
#include "platform/hive/subkey_list_editor.h"
#include "platform/hive/value_source.h"
#include "platform/system/clock.h"

namespace tolvar {

/// Changes keys and values of a hive in memory, by the rules that the platform keeps: lists sorted, maxima true,
/// security shared, last write times moved on. Each call is one HiveEditor::Change: one that fails changes nothing, and
/// every key stays in its cell.
///
/// Errors of all: kRegistryCorrupt where a record that has to be changed is damaged, or where something else uses it
/// too, with the place: nothing is written into what can't be read. kNotSupported for a key that is a predefined
/// handle. kNotEnoughMemory for a hive that can't grow, and where the system has no more memory.
class HiveWriter {
public:
    HiveWriter(HiveEditor& editor, const Clock& clock) : m_editor(editor), m_hive(editor.Reader()), m_clock(clock) {}

    /// Where in a registry the hive's root stands: 1 is the registry's own root, and what a hive by itself counts from.
    /// No key is made below level 512 (kMaxDepth) of the registry, wherever its hive begins.
    void SetRootLevel(unsigned level) noexcept { m_rootLevel = level; }

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

    /// Gives a key another name. Returns where it is now: a longer name may need a larger cell.
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

    /// Makes `target` a true copy of a key of another hive, with all below it: values, subkeys, classes, times,
    /// security and every flag but those that make the root of a hive. What `target` held is gone, once all that is new
    /// is there. Errors: those of a record of `source` that can't be read; kAccessDenied where a key below `target` is
    /// marked undeletable; kInvalidParameter where `source` goes below level 512.
    [[nodiscard]] Result<void> Replace(CellOffset target, const Hive& source, CellOffset top);

    /// Lays a true copy of a key of another hive over `target`: its values, subkeys, classes, times, security and
    /// flags, with all below it. What `target` holds under other names stays, and so does the spelling of names that
    /// are there already. Errors: those of a record of `source` that can't be read; kInvalidParameter as Replace.
    [[nodiscard]] Result<void> Merge(CellOffset target, const Hive& source, CellOffset top);

    /// Deletes a key with all below it, or nothing. `onKey` is told of every key that goes. Errors: kAccessDenied for
    /// the root, or where any of the keys is marked undeletable.
    [[nodiscard]] Result<void> DeleteTree(CellOffset key, const std::function<void(CellOffset)>& onKey);

    /// SetValue, but a value that is not there yet takes place `index` among the others, or the last one.
    [[nodiscard]] Result<void> InsertValue(CellOffset key, std::uint32_t index, std::u16string_view name,
                                           std::uint32_t type, std::span<const std::byte> data);

    /// Gives a key another class, empty for none. Errors: kInvalidParameter for more than 32,767 units.
    [[nodiscard]] Result<void> SetClass(CellOffset key, std::u16string_view className);

    /// Sets the last write time, for copies that are to be true ones.
    [[nodiscard]] Result<void> SetLastWrite(CellOffset key, std::uint64_t time);

private:
    struct DoomedTree;

    /// Runs `change` as one change of the hive.
    template <class Change>
    std::invoke_result_t<Change> AsOne(Change&& change);

    [[nodiscard]] Error ToError(const HiveFault& fault) const { return m_hive.ToError(fault); }
    [[nodiscard]] Result<KeyNode> Key(CellOffset key) const;
    [[nodiscard]] Result<void> CheckPathTo(CellOffset key) const;
    [[nodiscard]] Result<void> CheckSole(CellOffset cell) const;
    [[nodiscard]] Result<KeyNode> ParentOf(const KeyNode& key) const;
    [[nodiscard]] Result<SubkeyPlace> PlaceOf(KeyNode& parent, std::u16string_view name);
    [[nodiscard]] Result<SubkeyPlace> OwnPlace(KeyNode& parent, const KeyNode& key);
    [[nodiscard]] unsigned LevelOf(const KeyNode& key) const;
    void TouchKey(CellOffset key);

    [[nodiscard]] Result<CellOffset> AddKey(CellOffset parent, std::u16string_view name, std::u16string_view className);
    [[nodiscard]] Result<CellOffset> WriteNode(const KeyNode& parent, std::u16string_view name,
                                               std::u16string_view className);
    [[nodiscard]] Result<CellOffset> WriteClass(std::u16string_view className);
    [[nodiscard]] Result<CellOffset> MoveKey(CellOffset key, std::u16string_view name);
    [[nodiscard]] Result<CellOffset> MoveNode(const KeyNode& key, std::u16string_view name);
    [[nodiscard]] Result<void> PointChildrenTo(const KeyNode& key, CellOffset parent);
    void StoreName(CellOffset cell, std::u16string_view name);
    void RemoveFromParent(const KeyNode& parent, const SubkeyPlace& place);
    void RaiseField(CellOffset key, Field<std::uint32_t> field, std::uint32_t value);
    void RaiseMaxName(const KeyNode& parent, std::u16string_view name);

    [[nodiscard]] Result<CellView> SecurityRecord(CellOffset security) const;
    [[nodiscard]] Result<void> ShareSecurity(CellOffset security, int change);
    [[nodiscard]] Result<CellOffset> FindOrMakeSecurity(CellOffset ring, std::span<const std::byte> descriptor);
    [[nodiscard]] Result<void> PutSecurity(const KeyNode& node, std::span<const std::byte> descriptor);
    void ReleaseSecurity(CellOffset security, std::uint32_t keys = 1);

    [[nodiscard]] Result<void> Collect(const KeyNode& node, DoomedTree& tree) const;
    [[nodiscard]] Result<void> CollectBelow(DoomedTree& tree) const;
    [[nodiscard]] Result<void> CollectLists(const KeyNode& node, DoomedTree& tree) const;
    void LetGo(const DoomedTree& tree);

    [[nodiscard]] Result<void> CopyKey(CellOffset target, bool isNew, const Hive& source, const KeyNode& node);
    [[nodiscard]] Result<void> CopyValues(CellOffset target, bool isNew, const Hive& source, const KeyNode& node);
    [[nodiscard]] Result<void> CopySubkeys(CellOffset target, const Hive& source, const KeyNode& node);
    [[nodiscard]] Result<void> CopyFlags(const KeyNode& target, bool isNew, const Hive& source, const KeyNode& node);
    [[nodiscard]] static Result<void> CheckReadable(const Hive& source, CellOffset top);
    [[nodiscard]] Result<void> PutClass(const KeyNode& node, std::u16string_view className);

    /// A value as it is to be stored.
    struct NewValue {
        std::u16string_view name;
        std::uint32_t type = 0;
        ValueSource data;
        bool isTombstone = false; ///< of a layered hive: it hides one of a layer below
    };
    [[nodiscard]] Result<CellOffset> AppendToList(const KeyNode& key, CellOffset value);
    [[nodiscard]] Result<CellOffset> WriteRecord(std::u16string_view name, std::uint32_t type);
    [[nodiscard]] Result<CellOffset> WriteData(ValueSource& data);
    [[nodiscard]] Result<CellOffset> WriteBigData(ValueSource& data);
    [[nodiscard]] Result<void> StoreData(CellOffset record, NewValue& value);
    [[nodiscard]] Result<void> AddValue(const KeyNode& key, NewValue& value);
    [[nodiscard]] Result<void> ChangeValue(const ValueRecord& record, NewValue& value);
    [[nodiscard]] Result<void> PutValue(CellOffset key, bool isNew, NewValue value);
    [[nodiscard]] Result<void> PutFoundValue(const KeyNode& key, const std::optional<ValueRecord>& found,
                                             NewValue value);
    [[nodiscard]] bool FitsOldData(const ValueRecord& record, std::size_t size) const;
    [[nodiscard]] Result<std::vector<CellOffset>> DataCells(const ValueRecord& record) const;
    /// What goes with a key beside its own cell: its values with their data, their list, its class.
    [[nodiscard]] Result<std::vector<CellOffset>> OwnCells(const KeyNode& node) const;

    HiveEditor& m_editor;
    const Hive& m_hive;
    const Clock& m_clock;
    unsigned m_rootLevel = 1;
};

template <class Change>
std::invoke_result_t<Change> HiveWriter::AsOne(Change&& change)
{
    try {
        HiveEditor::Change pending(m_editor);
        auto result = change();
        if (result) {
            pending.Keep();
        }
        return result;
    } catch (const std::bad_alloc&) {
        return Failure(ErrorCode::kNotEnoughMemory, m_hive.File().string());
    }
}

} // namespace tolvar
