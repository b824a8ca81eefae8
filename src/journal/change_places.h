#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "journal/change_record.h"
#include "platform/registry/key_image.h"
#include "platform/registry/registry.h"
#include "platform/system/error.h"

namespace tolvar {

/// Something that a change overwrites, makes or removes: one value, or a key with all below it.
struct ChangePlace {
    std::string key;                  ///< full path
    std::optional<std::string> value; ///< name of a value; nothing: the key itself

    [[nodiscard]] bool operator==(const ChangePlace&) const = default;
};

/// What a change touches: one place, or two for a rename.
[[nodiscard]] std::vector<ChangePlace> PlacesOf(const ChangeRecord& change);

/// The same place by its key's own path, which leads through no link, as far as the key is there.
[[nodiscard]] ChangePlace OwnPlace(const Registry& registry, const ChangePlace& place);

/// A key by the hive that it lies in.
struct HivePath {
    std::string hive;  ///< the hive's own full path; empty: it lies in none
    std::string below; ///< the key's path inside the hive; empty: its root

    [[nodiscard]] bool operator==(const HivePath&) const = default;
};

/// The same of the key at a full path, which need not be there. Without a hive for one that belongs to the session.
[[nodiscard]] HivePath PlaceInHive(const Registry& registry, std::string_view path);

/// A sum of what a place holds. Of a value: its name in its spelling, type and stored bytes. Of a key: the same of its
/// values, its name, class, rights, whether it is a link, and all that of every key below it. Neither times nor the
/// order of values matter, nor the case of keys' names, which an undo leaves as it is. It finds what differs by
/// accident; it is no seal against forgers.
using PlaceDigest = std::uint64_t;

inline constexpr PlaceDigest kAbsent = 0; ///< there is no such key or value

/// What the place holds now. A stored link at the end of the path is a key like others, and is not followed.
/// Cost: one walk of the subtree. Errors: kRegistryCorrupt or kRegistryIoFailed where a record can't be read; those of
/// resolving the path.
[[nodiscard]] Result<PlaceDigest> DigestOf(const Registry& registry, const ChangePlace& place);

/// What the place held when the image was made of it (see ImageOfKey and ImageOfValues). Errors: as the other.
[[nodiscard]] Result<PlaceDigest> DigestOf(const KeyImage& image, const ChangePlace& place);

/// The same for a key that is called `name` by then.
[[nodiscard]] Result<PlaceDigest> DigestOfRenamed(const KeyImage& image, const std::string& name);

/// What a place holds with a value of this name in it.
[[nodiscard]] Result<PlaceDigest> DigestOfValue(const std::string& name, DWORD type, std::span<const BYTE> data);

/// What the place of a key holds that is made at the path `parent` now: it takes the rights of the key above.
/// Errors: as DigestOf; kNoUnicodeTranslation.
[[nodiscard]] Result<PlaceDigest> DigestOfNewKey(const Registry& registry, const std::string& parent,
                                                 const std::string& name);

} // namespace tolvar
