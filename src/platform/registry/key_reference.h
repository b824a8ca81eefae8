#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/hive/hive.h"

namespace tolvar {

/// A key of the session's name space above the hives: a predefined root, a mount point, or an empty key on the way to
/// one.
struct NamespaceKey {
    std::u16string name;
    NamespaceKey* parent = nullptr;
    const Hive* hive = nullptr;             ///< what is shown here: the root of a mounted hive
    const NamespaceKey* linkBase = nullptr; ///< or, for a link, what lies at `linkPath` below this key
    std::string linkPath;
    std::vector<std::unique_ptr<NamespaceKey>> children;

    /// The child of that name, without regard to case; null if there is none.
    [[nodiscard]] NamespaceKey* Child(std::u16string_view childName) const noexcept;
};

/// A key of the session: one of the name space, one of a hive, or, at a mount point, both.
struct KeyReference {
    const NamespaceKey* space = nullptr;
    const Hive* hive = nullptr;
    CellOffset cell; ///< in `hive`

    [[nodiscard]] bool HasHive() const noexcept { return hive != nullptr; }

    /// The hive's side of the key. Only where HasHive.
    [[nodiscard]] Checked<KeyNode> Node() const noexcept { return hive->Key(cell); }

    /// The subkey that is a key of the name space: with the hive that is mounted there or else, on the way to a mount
    /// further down, with the key of that name that this key has in its own hive.
    [[nodiscard]] KeyReference Child(const NamespaceKey& child) const;

    /// The subkey of that name. A mount point hides a key of the hive with the same name.
    /// Errors: kFileNotFound; kRegistryCorrupt or kRegistryIoFailed where the hive is damaged there.
    [[nodiscard]] Result<KeyReference> Subkey(std::u16string_view name) const;

    /// The key of the name space, with what is mounted there or what its link leads to now; a link that leads nowhere
    /// is an empty key.
    [[nodiscard]] static KeyReference Of(const NamespaceKey& space);

    /// Whether a subkey of the hive is told as a key of the name space, which has the same name.
    [[nodiscard]] bool IsHidden(const NameView& name) const noexcept;
};

/// Follows `path` down from `start`, component by component. Empty components are passed over.
/// Errors: as KeyReference::Subkey; kNoUnicodeTranslation for a path that is no UTF-8.
[[nodiscard]] Result<KeyReference> FollowPath(const KeyReference& start, std::string_view path);

} // namespace tolvar
