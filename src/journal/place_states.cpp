#include "journal/place_states.h"

#include <algorithm>

#include "platform/registry/registry.h"

namespace tolvar {

Result<std::vector<PlaceDigest>> DigestsNow(const ChangeRecord& change)
{
    const Registry* const registry = Registry::Current();
    std::vector<PlaceDigest> digests;
    for (const ChangePlace& place : PlacesOf(change)) {
        const Result<PlaceDigest> digest = registry != nullptr ? DigestOf(*registry, place) : kAbsent;
        if (!digest) {
            return tl::unexpected(digest.error());
        }
        digests.push_back(*digest);
    }
    return digests;
}

bool Matches(const SnapshotSeal& seal, PlaceDigest PlaceState::*which, const std::vector<PlaceDigest>& digests)
{
    return !seal.places.empty() && std::ranges::equal(seal.places, digests, {}, which);
}

bool HoldsNow(const SnapshotSeal& seal, PlaceDigest PlaceState::*which)
{
    const Result<std::vector<PlaceDigest>> now = DigestsNow(seal.change);
    return now && Matches(seal, which, *now);
}

} // namespace tolvar
