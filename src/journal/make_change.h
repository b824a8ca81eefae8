#pragma once

#include <optional>
#include <vector>

#include "journal/change_record.h"
#include "journal/change_snapshot.h"
#include "key_text/write_key_text.h"
#include "platform/registry/key_image.h"
#include "platform/registry/open_value.h"
#include "platform/system/error.h"
#include "registry/reg_key.h"

namespace tolvar {

/// A change that was looked at and can be made. Nothing is changed before Make.
class PreparedChange {
public:
    /// Opens what the change needs and finds all that stands against it. `emptyNameLabel`, unless it is empty, stands
    /// for the empty name of a value, but for a literal one. A value that is to be new, but is there, is prepared as a
    /// modification, so that undoing brings the old one back. A modification of a key can be prepared and not made:
    /// whoever makes it wants its backups. Errors: kAccessDenied for a root, a key with something mounted in it, or one
    /// that the user may not change; kAlreadyExists for a key's new name that is taken; kInvalidFunction where the
    /// value to be renamed is not there; kFileNotFound for a key or value that is missing; kWriteProtect;
    /// kInvalidParameter for a name or data that can't be.
    [[nodiscard]] static Result<PreparedChange> Prepare(ChangeRecord change, const std::string& emptyNameLabel);

    /// The change as it will be made, with labels replaced.
    [[nodiscard]] const ChangeRecord& Change() const noexcept { return m_change; }

    /// Whether there is anything to lose.
    [[nodiscard]] bool NeedsBackup() const noexcept { return m_change.kind != ChangeKind::kNew; }

    /// A hive with all that the change overwrites or removes.
    [[nodiscard]] Result<std::vector<std::byte>> Image();

    /// The text backup: see WriteKeyText and WriteValueText. A key's may be written while its image is made.
    [[nodiscard]] Result<KeyTextLosses> WriteText(const KeyTextSink& sink);

    /// What each place of the change (see PlacesOf) holds, and what it will hold. `image`: what Image made; null for a
    /// change that needs no backup. Nothing is looked up anew but the rights that a new key takes.
    [[nodiscard]] Result<std::vector<PlaceState>> States(const KeyImage* image) const;

    /// Makes the change in memory, wholly or not at all.
    [[nodiscard]] Result<void> Make();

    /// Makes the hive of the change durable.
    [[nodiscard]] Result<void> Flush() const;

private:
    explicit PreparedChange(ChangeRecord change) : m_change(std::move(change)) {}
    [[nodiscard]] LSTATUS PrepareKey();
    [[nodiscard]] LSTATUS PrepareValue();
    [[nodiscard]] Result<PlaceDigest> KeyAfter(const KeyImage* image) const;
    [[nodiscard]] Result<PlaceDigest> ValueAfter(const KeyImage* image) const;
    [[nodiscard]] LSTATUS MakeKeyChange();
    [[nodiscard]] LSTATUS MakeValueChange();
    [[nodiscard]] tl::unexpected<Error> FailureOf(LSTATUS code) const;

    ChangeRecord m_change;
    RegKey m_key;                     ///< the key at the path
    RegKey m_parent;                  ///< of a key that goes or gets another name
    std::string m_lastName;           ///< the path's last component
    std::optional<OpenValue> m_value; ///< what the key at the path has under the old name of a value
    bool m_isOneName = false;         ///< the value's new name is the old one, but for case
    std::vector<BYTE> m_data;         ///< the new data of a value, as the hive is to hold it
};

/// Whether an open key has a value of that name.
[[nodiscard]] bool HasValue(HKEY key, const std::string& name);

} // namespace tolvar
