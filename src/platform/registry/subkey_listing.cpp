#include "platform/registry/subkey_listing.h"

#include <algorithm>

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

bool HasSubkeys(const NameSpace& names, const KeyRef& key)
{
    const Checked<KeyNode> place = key.IsOfSession() ? names.Places().Key(key.place) : Fault(Breach::kNone, {});
    if (place && place->subkeyCount != 0) {
        return true;
    }
    return std::ranges::any_of(key.Parts(), [](const KeyPart& part) {
        const Checked<KeyNode> node = part.Node();
        return node && HasSubkeys(part.Reader(), *node);
    });
}

} // namespace

LSTATUS ListSubkeys(HKEY key, REGSAM access, const std::function<void(const ListedSubkey&)>& visit)
{
    const RegistryCall call(key, Call::kEnumerateSubkeys);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const Registry::State& state = call.State();
    const KeyRef& parent = call.Key().key;
    for (const KeyPart& part : parent.Parts()) {
        if (const Checked<KeyNode> node = part.Node(); !node) {
            return RegistryCall::CodeOf(node.error());
        }
    }
    std::string name;
    SubkeyRun run(state.names, parent);
    while (const SeenSubkey* subkey = run.Next()) {
        if (!subkey->isReadable) {
            continue;
        }
        name.clear();
        subkey->name.AppendUtf8(name);
        KeyRef seen = subkey->key;
        if (subkey->key.IsOfSession()) {
            seen = state.names.At(subkey->key.place, parent);
        } else if (subkey->node.Is(key_flags::kSymbolicLink)) {
            unsigned links = 0;
            seen = state.names.Subkey(parent, subkey->name.ToUtf16(), LastLink::kFollow, links).value_or(seen);
        }
        const bool isRefused = state.IsRefused(seen.First(), access);
        const Checked<KeyNode> node = seen.First().Node();
        visit({name, isRefused, !isRefused && HasSubkeys(state.names, seen), node ? node->lastWrite : 0});
    }
    return ERROR_SUCCESS;
}

} // namespace tolvar
