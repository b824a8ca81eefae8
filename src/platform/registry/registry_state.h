#pragma once

#include <array>
#include <deque>

#include "platform/registry/handle_table.h"
#include "platform/registry/key_reference.h"
#include "platform/registry/registry.h"
#include "platform/system/text.h"

namespace tolvar {

inline constexpr std::size_t kRootCount = 7;

/// What a Registry holds; seen by the calls of winreg.h only.
struct Registry::State {
    std::array<NamespaceKey, kRootCount> roots;
    std::deque<Hive> hives; ///< in place for good: keys point to them
    std::vector<MountNotice> notices;
    const AccessCheck* accessCheck = nullptr;
    HandleTable handles;
    mutable std::shared_mutex lock;

    /// The root that a predefined handle stands for; null for any other handle.
    [[nodiscard]] const NamespaceKey* RootOf(HKEY handle) const noexcept;
};

} // namespace tolvar
