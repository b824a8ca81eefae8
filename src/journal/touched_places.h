#pragma once

#include <set>
#include <string>
#include <unordered_set>

#include "journal/change_places.h"

namespace tolvar {

/// Places by their keys' own paths (see OwnPlace), to be asked whether a change at another one may be one at theirs:
/// they are the same, or one lies in the other.
class TouchedPlaces {
public:
    void Add(const ChangePlace& place);

    /// Cost: by the depth of the place, however many were added.
    [[nodiscard]] bool Overlaps(const ChangePlace& place) const;

private:
    std::unordered_set<std::string> m_keys;   ///< the upper-cased paths of keys that are meant with all below them
    std::unordered_set<std::string> m_values; ///< path and name, with a NUL between them
    std::set<std::string> m_paths;            ///< of all of these
};

} // namespace tolvar
