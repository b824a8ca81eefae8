#pragma once

#include <array>
#include <deque>
#include <memory>
#include <optional>

#include "platform/hive/writable_hive.h"
#include "platform/registry/handle_table.h"
#include "platform/registry/key_reference.h"
#include "platform/registry/registry.h"
#include "platform/system/text.h"

namespace tolvar {

inline constexpr std::size_t kRootCount = 7;

/// One mounted hive, open in one of two ways.
struct MountedHive {
    std::optional<Hive> readOnly;
    std::unique_ptr<WritableHive> writable;

    [[nodiscard]] const Hive& Reader() const { return writable ? writable->Reader() : *readOnly; }
};

/// A link of the session, by full paths.
struct SessionLink {
    std::string path;
    std::string target;
};

/// What a Registry holds; seen by the calls of winreg.h only.
struct Registry::State {
    std::array<NamespaceKey, kRootCount> roots;
    FileStore* files = nullptr;
    std::deque<MountedHive> hives; ///< in place for good: keys point to them
    std::vector<MountNotice> notices;
    const AccessCheck* accessCheck = nullptr;
    RegistryObserver* observer = nullptr;
    ChangeFeed feed;
    std::vector<SessionLink> links;
    HandleTable handles;
    mutable std::shared_mutex lock;

    /// The root that a predefined handle stands for; null for any other handle.
    [[nodiscard]] const NamespaceKey* RootOf(HKEY handle) const noexcept;

    /// The writing side of a mounted hive; null for one that is read only.
    [[nodiscard]] WritableHive* WriterOf(const Hive* hive) const noexcept;

    /// Whether the session's user gets `access` on a key.
    [[nodiscard]] bool Grants(const std::string& path, const KeyReference& key, REGSAM access) const;
};

} // namespace tolvar
