#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/file_store.h"
#include "platform/registry/change_feed.h"
#include "platform/registry/key_ref.h"
#include "platform/registry/mount.h"
#include "platform/registry/winreg.h"
#include "platform/system/clock.h"
#include "platform/system/error.h"

namespace tolvar {

class AccessCheck;

/// One hive file and the key that it is to be seen at.
struct MountRequest {
    std::filesystem::path file;
    std::string key; ///< full key path; empty: HKEY_LOCAL_MACHINE and the file's name

    /// From "FILE" or "FILE@KEY". The last '@' that a root name follows splits, so that names of files and keys may
    /// hold one.
    [[nodiscard]] static MountRequest FromArgument(std::string_view argument);

    /// Where the hive will be seen: `key`, or what stands for it where that is empty.
    [[nodiscard]] std::string KeyPath() const;
};

/// A mount that stands but is not all well: what a person should be told.
struct MountNotice {
    std::filesystem::path file;
    Error error;   ///< the code and one line
    bool isDamage; ///< part of the file is missing or unreadable; otherwise it was not closed cleanly
};

/// The registry of one session: the predefined roots and the hives mounted below them. Roots without a mount are empty
/// keys. Handles of winreg.h refer to the session that is current (see Session). One lock stands over all of it: the
/// calls here and those of winreg.h take it themselves, and walkers take a WalkPermit.
class Registry {
public:
    /// All files, saved and restored ones too, go through `files`, and all times come from `clock`; both must outlive
    /// the registry.
    explicit Registry(FileStore& files = SystemFiles(), const Clock& clock = SystemClock());
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    /// Opens a hive and shows it at `request.key`; missing keys on the way there appear as empty ones.
    /// Errors: the file's (see Hive::Open); kInvalidParameter for a key path that begins with no root or goes too deep;
    /// kAlreadyExists if another hive is mounted there. For a writable mount also those of WritableHive::Open.
    [[nodiscard]] Result<void> Mount(const MountRequest& request, MountMode mode = MountMode::kReadOnly);

    /// Shows at the full key path `link` whatever lies at `target`, at each look anew. Missing keys on the way to the
    /// link appear as empty ones. Errors: as NameSpace::Link.
    [[nodiscard]] Result<void> Link(std::string_view link, std::string_view target);

    /// Shows at the full key path `view` the trees at `first` and `second` as one, the first before the second.
    /// Errors: as NameSpace::View.
    [[nodiscard]] Result<void> View(std::string_view view, std::string_view first, std::string_view second);

    /// Makes the changes to all hives durable. Every hive is tried; the first error is answered.
    [[nodiscard]] Result<void> Flush();

    /// The worst of what came of failed flushes: see Mount::FailedFlush.
    [[nodiscard]] FlushFate FailedFlush() const;

    /// Brings every hive back to exactly what its last flush made. A handle stands again for what it stood for then;
    /// one that was opened since, for the key at its path, and where there is none, for a deleted one. Every hive is
    /// tried; the first error is answered: see WritableHive::Revert.
    [[nodiscard]] Result<void> Revert();

    /// Whether there is anything for Flush to do.
    [[nodiscard]] bool IsChanged() const;

    /// Is told of every change (see RegistryObserver); null for nobody. `observer` must outlive the registry.
    void SetObserver(RegistryObserver* observer) noexcept;

    /// The other full paths at which the session shows the key at `path`, which need not be there: through the links
    /// of the session, such as the current user's and the control set's, and where `path` itself leads through one, the
    /// key's own path. In no particular order, each once; `path` itself is not among them. Looks at no hive.
    [[nodiscard]] std::vector<std::string> AliasesOf(std::string_view path) const;

    /// What Mount found to be not all well, in order of mounting.
    [[nodiscard]] std::span<const MountNotice> Notices() const noexcept;

    /// Replaces the check that RegOpenKeyExA runs. The default grants everything. `check` must outlive the registry.
    void SetAccessCheck(const AccessCheck* check) noexcept;

    /// The hive file of the key at a full path, for copies that nobody is to read who may not read the key; of a key of
    /// the session, the mounted file that the fewest may read. Empty where there is none.
    [[nodiscard]] std::filesystem::path FileOf(std::string_view path) const;

    /// Where its files lie.
    [[nodiscard]] FileStore& Files() const noexcept;

    /// The inside, for the calls of winreg.h.
    struct State;
    [[nodiscard]] State& Inside() noexcept { return *m_pState; }

    /// The registry that winreg.h works on, or null before a Session stands.
    [[nodiscard]] static Registry* Current() noexcept;

private:
    friend class ChangeScope;
    friend class WalkPermit;
    void OpenChangeScope();
    void CloseChangeScope();

    std::unique_ptr<State> m_pState;
};

/// Makes `registry` the one that winreg.h works on, for the life of this object. One at a time.
class Session {
public:
    explicit Session(Registry& registry);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
};

/// Decides which rights the session's user gets on a key.
class AccessCheck {
public:
    virtual ~AccessCheck() = default;

    /// The rights out of `desired` that are granted; for MAXIMUM_ALLOWED, all that can be. Whoever asks tests whether
    /// that is enough. `path`: the key's own full path. `descriptor`: its security descriptor as stored, empty where it
    /// has none.
    [[nodiscard]] virtual REGSAM Granted(std::string_view path, std::span<const std::byte> descriptor,
                                         REGSAM desired) const = 0;
};

} // namespace tolvar
