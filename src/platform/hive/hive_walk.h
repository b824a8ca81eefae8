#pragma once

#include <vector>

#include "platform/hive/cell_claims.h"
#include "platform/hive/hive.h"

namespace tolvar {

/// What a walk tells of. Every operation may be empty; OnKey answers whether to go into the key's values and subkeys.
///
///     bool OnKey(const KeyNode& key, unsigned depth);       // depth 0: the key where the walk began
///     void OnValue(const ValueRecord& value, DataView data); // the values of the key told last, in stored order;
///                                                           // DataView& saves the copy where that counts
///     void OnValuesEnd(const KeyNode& key);                 // before the first subkey
///     void OnFault(const HiveFault& fault, unsigned depth); // what can't be read; the walk goes on beside it
///     bool IsStopped() const;                               // asked before each key
///     void OnReference(CellOffset cell, bool isFirst);      // may be left out: every cell that the walk claims, and
///                                                           // whether nothing else did before
///
/// Walks the keys from `top` on, depth first in stored order. No cell is entered twice, so that cycles and shared lists
/// end as faults; a key whose class or list of subkeys belongs to another one is told without it, and no more bytes of
/// names, classes and data are handed out than the hive holds. The time is therefore in proportion to the file. Memory:
/// one bit for 8 bytes of the hive, and one cursor a level.
template <class Visitor>
class HiveWalk {
public:
    HiveWalk(const Hive& hive, Visitor& visitor)
        : m_hive(hive), m_visitor(visitor), m_claims(hive.Length()), m_bytesLeft(hive.Length())
    {}

    void Run(CellOffset top)
    {
        Enter(top);
        while (!m_levels.empty() && !m_visitor.IsStopped()) {
            SubkeyCursor& cursor = m_levels.back();
            if (const CellOffset ready = cursor.NextInLeaf(); !ready.IsNil()) {
                Enter(ready);
                continue;
            }
            const std::uint32_t leavesBefore = cursor.LeavesOpened();
            const Checked<CellOffset> next = cursor.Next();
            if (!next) {
                m_visitor.OnFault(next.error(), Depth());
                continue;
            }
            if (next->IsNil()) {
                m_levels.pop_back();
                continue;
            }
            const bool isNewLeaf = cursor.LeavesOpened() != leavesBefore && cursor.LeafCell() != cursor.ListCell();
            if (isNewLeaf && !Claim(cursor.LeafCell())) {
                m_visitor.OnFault({Breach::kShared, cursor.LeafCell()}, Depth());
                cursor.SkipLeaf();
                continue;
            }
            Enter(*next);
        }
        m_levels.clear();
    }

private:
    [[nodiscard]] unsigned Depth() const noexcept { return static_cast<unsigned>(m_levels.size()); }

    [[nodiscard]] bool Claim(CellOffset cell)
    {
        const bool isFirst = m_claims.Claim(cell);
        if constexpr (kIsTold) {
            m_visitor.OnReference(cell, isFirst);
        }
        return isFirst;
    }

    void Enter(CellOffset offset)
    {
        Checked<KeyNode> key = m_hive.Key(offset);
        if (!key) {
            m_visitor.OnFault(key.error(), Depth());
            return;
        }
        if (!Claim(offset)) {
            m_visitor.OnFault({Breach::kShared, offset}, Depth());
            return;
        }
        if (Depth() >= kMaxDepth) {
            m_visitor.OnFault({Breach::kDepth, offset}, Depth());
            return;
        }
        if (!ClaimClass(*key)) {
            m_visitor.OnFault({Breach::kShared, key->classCell}, Depth());
            key->classLength = 0;
        }
        if (key->subkeyCount != 0 && m_hive.Cell(key->subkeyList) && !Claim(key->subkeyList)) {
            m_visitor.OnFault({Breach::kShared, key->subkeyList}, Depth());
            key->subkeyCount = 0;
        }
        if (!m_visitor.OnKey(*key, Depth())) {
            return;
        }
        if (key->valueCount != 0) {
            VisitValues(*key);
        }
        m_visitor.OnValuesEnd(*key);
        if (key->subkeyCount != 0) {
            m_levels.emplace_back(m_hive, key->subkeyList, m_hive.MaxKeys());
        }
    }

    /// Takes bytes off those that are still to be handed out. False if there are not that many left: then some lie
    /// inside others, and were handed out before.
    [[nodiscard]] bool Spend(std::uint64_t bytes) noexcept
    {
        if (bytes > m_bytesLeft) {
            return false;
        }
        m_bytesLeft -= bytes;
        return true;
    }

    [[nodiscard]] bool ClaimClass(const KeyNode& key)
    {
        if (key.classLength == 0) {
            return true;
        }
        const Checked<NameView> name = m_hive.ClassName(key);
        return !name || name->empty() || (Claim(key.classCell) && Spend(name->bytes));
    }

    void VisitValues(const KeyNode& key)
    {
        const Checked<ValueListView> values = m_hive.Values(key);
        if (!values) {
            m_visitor.OnFault(values.error(), Depth());
            return;
        }
        if (!Claim(values->cell)) {
            m_visitor.OnFault({Breach::kShared, values->cell}, Depth());
            return;
        }
        for (std::uint32_t i = 0; i < values->count; ++i) {
            VisitValue((*values)[i]);
        }
    }

    void VisitValue(CellOffset offset)
    {
        m_hive.PrefetchBehind(offset);
        const Checked<ValueRecord> value = m_hive.Value(offset);
        if (!value) {
            m_visitor.OnFault(value.error(), Depth());
            return;
        }
        if (!Claim(offset)) {
            m_visitor.OnFault({Breach::kShared, offset}, Depth());
            return;
        }
        Checked<DataView> data = m_hive.Data(*value);
        if (!data) {
            if (kIsTold && m_hive.Cell(value->dataCell)) {
                static_cast<void>(Claim(value->dataCell));
            }
            m_visitor.OnFault(data.error(), Depth());
            return;
        }
        if (!value->isInline && !ClaimData(*value, *data)) {
            m_visitor.OnFault({Breach::kShared, value->dataCell}, Depth());
            return;
        }
        if (!Spend(std::uint64_t{value->name.bytes} + (value->isInline ? 0 : value->size))) {
            m_visitor.OnFault({Breach::kShared, offset}, Depth());
            return;
        }
        m_visitor.OnValue(*value, *data);
    }

    [[nodiscard]] bool ClaimData(const ValueRecord& value, const DataView& data)
    {
        bool isOwn = Claim(value.dataCell);
        if (!isOwn && !kIsTold) {
            return false;
        }
        if (!data.IsSegmented()) {
            return isOwn;
        }
        isOwn = Claim(data.listCell) && isOwn;
        for (std::uint32_t i = 0; i < data.segmentCount && (isOwn || kIsTold); ++i) {
            const CellOffset segment = data.Segment(i);
            const Checked<CellView> cell = m_hive.Cell(segment);
            if (!cell && kIsTold) {
                m_visitor.OnFault(cell.error(), Depth());
            }
            isOwn = (!cell || Claim(segment)) && isOwn;
        }
        return isOwn;
    }

    /// Whether the visitor wants to hear of every cell, also behind one that has another owner.
    static constexpr bool kIsTold = requires(Visitor & visitor) { visitor.OnReference(CellOffset{}, true); };

    const Hive& m_hive;
    Visitor& m_visitor;
    CellClaims m_claims;
    std::uint64_t m_bytesLeft; ///< of names, classes and data
    std::vector<SubkeyCursor> m_levels;
};

} // namespace tolvar
