#pragma once

#include <array>
#include <span>

#include "platform/registry/mount.h"

namespace tolvar {

/// One stored key: a cell of a mount.
struct KeyPart {
    Mount* mount = nullptr;
    CellOffset cell;

    [[nodiscard]] const Hive& Reader() const noexcept { return mount->Reader(); }
    [[nodiscard]] Checked<KeyNode> Node() const noexcept { return Reader().Key(cell); }
    [[nodiscard]] bool operator==(const KeyPart& other) const noexcept
    {
        return mount == other.mount && cell == other.cell;
    }
};

/// A key of the session, however it was reached: links that led to it have left no trace. Mostly it is one stored key.
/// Where two are seen as one, as the user's classes before the machine's, it has two parts: what the first part holds
/// hides what has the same name in the second. Good until the next write of a kind that moves cells: see
/// OpenKey and WalkPermit. The name space answers its path and its subkeys.
struct KeyRef {
    std::array<KeyPart, 2> parts; ///< the second without a mount where there is one part
    CellOffset place;             ///< of the key that the name space itself has there, for mounts and links below it
    CellOffset view;              ///< of two parts: the key of the name space at which their trees are seen as one

    [[nodiscard]] bool IsMerged() const noexcept { return parts[1].mount != nullptr; }
    [[nodiscard]] std::span<const KeyPart> Parts() const noexcept
    {
        return std::span(parts).first(IsMerged() ? 2U : 1U);
    }

    /// Whose class, times and security the key has.
    [[nodiscard]] const KeyPart& First() const noexcept { return parts[0]; }

    /// Where a new value goes: to the first part, which would hide it anywhere else.
    [[nodiscard]] const KeyPart& ForValues() const noexcept { return parts[0]; }

    /// Where a new subkey goes: to the last part, so that every user has it.
    [[nodiscard]] const KeyPart& ForSubkeys() const noexcept { return parts[IsMerged() ? 1 : 0]; }

    /// Whether the key is a root, a mount point, or on the way to one: then it belongs to the session.
    [[nodiscard]] bool IsOfSession() const noexcept { return !place.IsNil(); }
};

} // namespace tolvar
