#pragma once

#include <memory>

#include "platform/registry/key_reference.h"

namespace tolvar {

/// Runs over the subkeys of a key in the order of enumeration: those of the hive, without the ones that mounts hide,
/// then those of the name space. A key that can't be read keeps its index and is handed to `visit` as nothing. `visit`
/// answers false to end the run.
template <class Visit>
void ForEachSubkey(const KeyReference& key, const Checked<KeyNode>& node, Visit&& visit)
{
    if (node) {
        SubkeyCursor cursor = key.hive->Subkeys(*node);
        while (true) {
            const Checked<CellOffset> next = cursor.Next();
            if (next && next->IsNil()) {
                break;
            }
            const Checked<KeyNode> child = next ? key.hive->Key(*next) : tl::unexpected(next.error());
            if (child && key.IsHidden(child->name)) {
                continue;
            }
            if (next && !visit(child, static_cast<const NamespaceKey*>(nullptr))) {
                return;
            }
        }
    }
    if (key.space != nullptr) {
        for (const std::unique_ptr<NamespaceKey>& child : key.space->children) {
            if (!visit(Checked<KeyNode>(Fault(Breach::kNone, {})), child.get())) {
                return;
            }
        }
    }
}

/// The hive's side of a key; a fault without a breach where it has none.
[[nodiscard]] inline Checked<KeyNode> NodeOf(const KeyReference& key)
{
    return key.HasHive() ? key.Node() : Fault(Breach::kNone, {});
}

} // namespace tolvar
