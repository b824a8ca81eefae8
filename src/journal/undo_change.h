#pragma once

#include <string_view>
#include <variant>

#include "journal/change_places.h"
#include "journal/change_record.h"
#include "platform/registry/key_image.h"
#include "platform/system/error.h"

namespace tolvar {

/// What a change is undone from: nothing for one that made something new, else its snapshot's image or its text backup.
using UndoSource = std::variant<std::monostate, const KeyImage*, std::string_view>;

/// Brings back in memory what the source holds, and takes away what the change made. It is additive: what has come into
/// a restored key since stays, but for a key that was modified: that becomes what it was. What the change made and is
/// gone already is no error, so that undoing once more does no harm. Keys that are missing on the way are made. Errors:
/// as the registry's; what stands against it is found before anything is changed, and keys that were made on the way go
/// again where restoring fails.
[[nodiscard]] Result<void> UndoChange(const ChangeRecord& change, const UndoSource& source);

/// UndoChange for a change that is to count as never made: a key that was renamed to its own name in another case gets
/// the old case back too, which an undo leaves.
[[nodiscard]] Result<void> TakeChangeBack(const ChangeRecord& change, const UndoSource& source);

/// The topmost key on the way to `path` that is not there; empty where all are.
[[nodiscard]] std::string FirstMissingKey(const std::string& path);

/// Takes away what is at a place, if anything is.
[[nodiscard]] Result<void> RemovePlace(const ChangePlace& place);

} // namespace tolvar
