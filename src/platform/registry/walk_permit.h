#pragma once

#include "platform/registry/key_ref.h"
#include "platform/registry/registry.h"

namespace tolvar {

class NameSpace;

/// Leave to look at many keys of a registry: nothing is written while it stands, but where the walker lets a writer in.
/// The calls of winreg.h that write must not be made on its thread meanwhile.
class WalkPermit {
public:
    explicit WalkPermit(const Registry& registry);
    ~WalkPermit();
    WalkPermit(const WalkPermit&) = delete;
    WalkPermit& operator=(const WalkPermit&) = delete;

    [[nodiscard]] const NameSpace& Names() const noexcept;

    /// The key at a full path, which can be read. Errors: as NameSpace::Resolve; kRegistryCorrupt or kRegistryIoFailed,
    /// with the place, for a damaged key.
    [[nodiscard]] Result<KeyRef> Find(std::string_view fullPath) const;

    /// Whether a writer waits. Cheap.
    [[nodiscard]] bool IsWanted() const noexcept;

    /// Lets the waiting writer in. True where it changed anything: then no key and no view of one is good any more.
    [[nodiscard]] bool LetWriterIn();

private:
    const Registry::State& m_state;
};

} // namespace tolvar
