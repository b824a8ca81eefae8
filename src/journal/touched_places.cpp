#include "journal/touched_places.h"

#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

namespace {

std::string ValueKey(const std::string& path, const std::string& name)
{
    return (path + '\0').append(UpCased(name)); // no path holds that byte
}

} // namespace

void TouchedPlaces::Add(const ChangePlace& place)
{
    std::string path = UpCased(place.key);
    if (place.value) {
        m_values.insert(ValueKey(path, *place.value));
    } else {
        m_keys.insert(path);
    }
    m_paths.insert(std::move(path));
}

bool TouchedPlaces::Overlaps(const ChangePlace& place) const
{
    const std::string path = UpCased(place.key);
    for (std::string_view above = path; !above.empty(); above = ParentPath(above)) {
        if (m_keys.contains(std::string(above))) {
            return true;
        }
    }
    if (place.value) {
        return m_values.contains(ValueKey(path, *place.value));
    }
    if (m_paths.contains(path)) {
        return true;
    }
    const std::string below = path + '\\';
    const auto next = m_paths.lower_bound(below);
    return next != m_paths.end() && next->starts_with(below);
}

} // namespace tolvar
