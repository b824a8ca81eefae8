#include "platform/registry/key_reference.h"

#include "platform/system/text.h"

namespace tolvar {

NamespaceKey* NamespaceKey::Child(std::u16string_view childName) const noexcept
{
    for (const std::unique_ptr<NamespaceKey>& child : children) {
        if (CompareNames(child->name, childName) == 0) {
            return child.get();
        }
    }
    return nullptr;
}

KeyReference KeyReference::Of(const NamespaceKey& space)
{
    if (space.linkBase != nullptr) {
        const Result<KeyReference> target = FollowPath(Of(*space.linkBase), space.linkPath);
        return target ? KeyReference{&space, target->hive, target->cell} : KeyReference{&space, nullptr, {}};
    }
    return {&space, space.hive, space.hive != nullptr ? space.hive->Root() : CellOffset{}};
}

KeyReference KeyReference::Child(const NamespaceKey& child) const
{
    if (child.hive != nullptr || child.linkBase != nullptr || !HasHive()) {
        return Of(child);
    }
    const Checked<KeyNode> node = Node();
    const Checked<CellOffset> found = node ? hive->FindSubkey(*node, child.name) : tl::unexpected(node.error());
    return found && !found->IsNil() ? KeyReference{&child, hive, *found} : Of(child);
}

bool KeyReference::IsHidden(const NameView& name) const noexcept
{
    if (space == nullptr) {
        return false;
    }
    for (const std::unique_ptr<NamespaceKey>& child : space->children) {
        if (CompareNames(name, child->name) == 0) {
            return true;
        }
    }
    return false;
}

Result<KeyReference> KeyReference::Subkey(std::u16string_view name) const
{
    if (space != nullptr) {
        if (const NamespaceKey* child = space->Child(name); child != nullptr) {
            return Child(*child);
        }
    }
    if (!HasHive()) {
        return Failure(ErrorCode::kFileNotFound);
    }
    const Checked<KeyNode> node = Node();
    if (!node) {
        return tl::unexpected(hive->ToError(node.error()));
    }
    const Checked<CellOffset> found = hive->FindSubkey(*node, name);
    if (!found) {
        return tl::unexpected(hive->ToError(found.error()));
    }
    if (found->IsNil()) {
        return Failure(ErrorCode::kFileNotFound);
    }
    return KeyReference{nullptr, hive, *found};
}

Result<KeyReference> FollowPath(const KeyReference& start, std::string_view path)
{
    const std::optional<std::u16string> text = ToUtf16(path);
    if (!text) {
        return Failure(ErrorCode::kNoUnicodeTranslation);
    }
    Result<KeyReference> at = start;
    std::u16string_view rest = *text;
    while (at && !rest.empty()) {
        const std::size_t end = std::min(rest.find(u'\\'), rest.size());
        if (end != 0) {
            at = at->Subkey(rest.substr(0, end));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return at;
}

} // namespace tolvar
