#pragma once

#include "platform/hive/hive_walk.h"
#include "platform/registry/key_reference.h"
#include "platform/system/text.h"

namespace tolvar {

/// Where a walk stands: a zero-copy view of one key, with no handle and no allocation. The pointers are valid during
/// the call.
struct KeyCursor {
    const Hive* hive = nullptr;    ///< null for an empty key of the name space
    const KeyNode* node = nullptr; ///< null exactly where `hive` is
    const std::u16string* mountName =
        nullptr;                         ///< the name that the session gives a mounted hive's root; null elsewhere
    unsigned depth = 0;                  ///< 0: the key where the walk began
    const NamespaceKey* space = nullptr; ///< the key's side in the name space, where it has one

    void AppendName(std::string& out) const
    {
        if (mountName != nullptr) {
            AppendUtf8(out, *mountName);
        } else {
            node->name.AppendUtf8(out);
        }
    }
    [[nodiscard]] KeyReference Reference() const noexcept
    {
        return {space, hive, node != nullptr ? node->offset : CellOffset{}};
    }
};

/// Walks a key of the session and all below it: depth first, in stored order, mounted hives behind the subkeys of the
/// key they are mounted below. Needs no handle and copies nothing; the caller holds Registry::Lock shared.
///
///     void OnKey(const KeyCursor& key);
///     void OnValue(const Hive& hive, const ValueRecord& value, DataView data); // of the key told last
///     void OnValuesEnd();
///     void OnFault(const Hive& hive, const HiveFault& fault, unsigned depth);  // the walk goes on beside it
///     bool IsStopped() const;
template <class Visitor>
class KeyWalk {
public:
    explicit KeyWalk(Visitor& visitor) : m_visitor(visitor) {}

    void Run(const KeyReference& key, unsigned depth = 0)
    {
        if (key.HasHive()) {
            HiveSide side{*this, key, depth};
            HiveWalk(*key.hive, side).Run(key.cell);
        } else {
            m_visitor.OnKey({nullptr, nullptr, &key.space->name, depth, key.space});
            m_visitor.OnValuesEnd();
        }
        if (key.space == nullptr) {
            return;
        }
        for (const std::unique_ptr<NamespaceKey>& child : key.space->children) {
            if (m_visitor.IsStopped()) {
                return;
            }
            Run(key.Child(*child), depth + 1);
        }
    }

private:
    /// Passes on what a walk through one hive tells, with the session's names and depths.
    struct HiveSide {
        KeyWalk& walk;
        const KeyReference& top;
        unsigned depth;

        bool OnKey(const KeyNode& node, unsigned below)
        {
            if (below == 1 && top.IsHidden(node.name)) {
                return false;
            }
            const NamespaceKey* const space = below == 0 ? top.space : nullptr;
            walk.m_visitor.OnKey({top.hive, &node, space != nullptr ? &space->name : nullptr, depth + below, space});
            return true;
        }
        void OnValue(const ValueRecord& value, DataView data) { walk.m_visitor.OnValue(*top.hive, value, data); }
        void OnValuesEnd(const KeyNode& /*node*/) { walk.m_visitor.OnValuesEnd(); }
        void OnFault(const HiveFault& fault, unsigned below)
        {
            walk.m_visitor.OnFault(*top.hive, fault, depth + below);
        }
        [[nodiscard]] bool IsStopped() const { return walk.m_visitor.IsStopped(); }
    };

    Visitor& m_visitor;
};

} // namespace tolvar
