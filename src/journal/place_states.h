#pragma once

#include <vector>

#include "journal/change_snapshot.h"

namespace tolvar {

/// What the places of a change hold in the current registry; without one, nothing. Errors: as DigestOf.
[[nodiscard]] Result<std::vector<PlaceDigest>> DigestsNow(const ChangeRecord& change);

/// Whether these are the digests that a seal tells of. Never for a seal that tells of none.
[[nodiscard]] bool Matches(const SnapshotSeal& seal, PlaceDigest PlaceState::*which,
                           const std::vector<PlaceDigest>& digests);

/// Whether the places of a seal's change hold now what it tells of.
[[nodiscard]] bool HoldsNow(const SnapshotSeal& seal, PlaceDigest PlaceState::*which);

} // namespace tolvar
