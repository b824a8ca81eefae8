#pragma once

#include <string>
#include <vector>

#include "platform/registry/handle_table.h"
#include "platform/registry/name_space.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_lock.h"

namespace tolvar {

/// What a Registry holds; seen by the calls of winreg.h only.
struct Registry::State {
    State(FileStore& fileStore, const Clock& time) : files(fileStore), clock(time) {}

    FileStore& files;
    const Clock& clock;
    NameSpace names;
    std::vector<MountNotice> notices;
    const AccessCheck* accessCheck = nullptr;
    RegistryObserver* observer = nullptr;
    ChangeFeed feed;
    HandleTable handles;
    std::uint64_t generation = 1; ///< another one after each write; under the lock
    mutable RegistryLock lock;

    /// Makes a store durable, and remembers what handles stand for then.
    [[nodiscard]] Result<void> Flush(tolvar::Mount& mount);

    /// Brings a store back to what its last flush made, and handles with it.
    [[nodiscard]] Result<void> Revert(tolvar::Mount& mount);

    /// The rights out of `desired` that the session's user gets on a key, for MAXIMUM_ALLOWED all that can be had.
    /// Nothing where any right that was asked for is refused.
    [[nodiscard]] REGSAM Grant(const KeyPart& part, REGSAM desired) const;

    /// The same for a key whose path is known.
    [[nodiscard]] REGSAM Grant(const std::string& path, const Hive& hive, const KeyNode& node, REGSAM desired) const;

    [[nodiscard]] bool IsRefused(const KeyPart& part, REGSAM desired) const
    {
        return accessCheck != nullptr && desired != 0 && Grant(part, desired) == 0;
    }
};

} // namespace tolvar
