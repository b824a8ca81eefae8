#include "platform/registry/subkey_listing.h"

#include <algorithm>

#include "platform/registry/subkey_run.h"
#include "platform/registry/winreg_access.h"

namespace tolvar {

namespace {

bool HasSubkeys(const Hive& hive, const KeyNode& node)
{
    // A damaged leaf has no subkeys to show. A hostile index could list 65,535 of them for every key.
    constexpr std::uint32_t kLeavesTried = 16;
    const Checked<SubkeyList> list = SubkeyList::Parse(hive, node.subkeyCount != 0 ? node.subkeyList : CellOffset{});
    if (!list || list->kind != ListKind::kIndex) {
        return list && list->count != 0;
    }
    for (std::uint32_t i = 0; i < std::min(list->count, kLeavesTried); ++i) {
        if (const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(hive, list->Offset(i)); leaf && leaf->count != 0) {
            return true;
        }
    }
    return false;
}

} // namespace

LSTATUS ListSubkeys(HKEY key, REGSAM access, const std::function<void(const ListedSubkey&)>& visit)
{
    const RegistryCall call(key, KEY_ENUMERATE_SUB_KEYS);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyReference& parent = call.Key().key;
    const Checked<KeyNode> parentNode = NodeOf(parent);
    if (parent.HasHive() && !parentNode) {
        return RegistryCall::CodeOf(parentNode.error());
    }
    std::string name;
    ForEachSubkey(parent, parentNode, [&](const Checked<KeyNode>& child, const NamespaceKey* space) {
        if (!child && space == nullptr) {
            return true;
        }
        name.clear();
        KeyReference reference{nullptr, parent.hive, child ? child->offset : CellOffset{}};
        Checked<KeyNode> node = child;
        if (space != nullptr) {
            AppendUtf8(name, space->name);
            reference = parent.Child(*space);
            node = NodeOf(reference);
        } else {
            child->name.AppendUtf8(name);
        }
        const bool isGranted = call.State().Grants(call.Key().path + "\\" + name, reference, access);
        const bool hasSubkeys = isGranted && ((space != nullptr && !space->children.empty()) ||
                                              (node && HasSubkeys(*reference.hive, *node)));
        visit({name, !isGranted, hasSubkeys, node ? node->lastWrite : 0});
        return true;
    });
    return ERROR_SUCCESS;
}

} // namespace tolvar
