#pragma once

#include <string_view>

#include "platform/hive/hive_editor.h"
#include "platform/hive/subkey_list.h"

namespace tolvar {

/// Where a name stands, or would stand, in the lists of one key.
struct SubkeyPlace {
    CellOffset found;            ///< the subkey of that name; nil where there is none
    CellOffset leaf;             ///< nil for a key without subkeys
    std::uint32_t leafIndex = 0; ///< of the leaf in the index, where there is one
    std::uint32_t index = 0;     ///< in the leaf
};

/// Keeps the lists of a key's subkeys sorted while they change (docs/hive-format.md, Subkey lists). Leaves are
/// converted and split at the sizes at which the platform does so, in the version found.
class SubkeyListEditor {
public:
    explicit SubkeyListEditor(HiveEditor& editor) : m_editor(editor), m_hive(editor.Reader()) {}

    /// The place of `name` among the subkeys that `list` names. The lists must be in order.
    [[nodiscard]] Checked<SubkeyPlace> Find(CellOffset list, std::u16string_view name) const;

    /// Enters `key` at `place`. Answers the list that the parent has to name from now on.
    /// Errors: as HiveEditor::Allocate; the lists are then as they were.
    [[nodiscard]] Result<CellOffset> Insert(CellOffset list, SubkeyPlace place, CellOffset key,
                                            std::u16string_view name);

    /// Takes the entry at `place` out. Answers the list that the parent has to name; nil when it was the last.
    [[nodiscard]] CellOffset Remove(CellOffset list, const SubkeyPlace& place);

    /// Points the entry at `place` to another cell, of a key with the same name.
    void Replace(const SubkeyPlace& place, CellOffset key);

private:
    [[nodiscard]] Result<CellOffset> NewLeaf(CellOffset key, std::u16string_view name);
    [[nodiscard]] Result<CellOffset> ConvertToOffsets(CellOffset leaf);
    [[nodiscard]] Result<CellOffset> Split(CellOffset list, const SubkeyPlace& place);
    [[nodiscard]] Result<CellOffset> RoomForOne(CellOffset cell, const SubkeyList& list);
    void InsertElement(CellOffset cell, const SubkeyList& list, std::uint32_t index, CellOffset target,
                       std::uint32_t tag);
    void RemoveElement(CellOffset cell, const SubkeyList& list, std::uint32_t index);
    [[nodiscard]] CellOffset PointTo(CellOffset list, std::uint32_t leafIndex, CellOffset leaf);
    [[nodiscard]] SubkeyList Parsed(CellOffset cell) const;

    HiveEditor& m_editor;
    const Hive& m_hive;
};

} // namespace tolvar
