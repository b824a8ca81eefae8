#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "journal/change_places.h"
#include "journal/change_record.h"
#include "platform/files/file_store.h"
#include "platform/registry/key_image.h"

namespace tolvar {

// A snapshot is a hive file with the exact image of what a change overwrites or removes, and behind the hive, where its
// readers do not look, a seal: which record it belongs to, the change in fields that no ";" can move, what its places
// held before and after it, and sums over the image and the text backup.
//
//   seal: format (4 bytes, 3); kind, object, type, flags, 4 each; size and sum of the image, size and sum of the text
//         backup, 8 each; then, each as 4 bytes of length and its bytes: record, path, second path, name, new name,
//         stamp of the group, key where the hive was mounted, path inside it; number of places, 4; for each of them
//         what it held before and after, 8 each
//   A seal of format 1 ends before the stamp of the group, one of format 2 has no hive.
//   end:  length of the seal (4), a sum over it (8), "TVSEAL01"
// Numbers are little-endian.

/// What a place of a change held.
struct PlaceState {
    PlaceDigest before = kAbsent;
    PlaceDigest after = kAbsent;

    [[nodiscard]] bool operator==(const PlaceState&) const = default;
};

struct SnapshotSeal {
    std::string record;
    ChangeRecord change; ///< without user and data; missing names are empty
    std::uint64_t textSize = 0;
    std::uint64_t textSum = 0;
    bool isTextWhole = true;        ///< the text backup holds all of it
    std::string group;              ///< stamp of the first change that one command made; empty: it made one alone
    std::vector<PlaceState> places; ///< one for each of PlacesOf(change); empty: nobody knows
    HivePath hive;                  ///< where the key of `change.path` lies; without a hive: nobody knows
    bool isMoved = false;           ///< `change` is not where its record tells

    /// Moves `change` to where the hive is mounted now; empty: where it always is.
    void MoveTo(std::string_view home);
};

/// What belongs behind the image.
[[nodiscard]] std::string SealOf(std::span<const std::byte> image, const SnapshotSeal& seal);

/// The seal and the image of a snapshot, which must outlive it. `image` is empty where it was altered or cut.
struct SnapshotView {
    SnapshotSeal seal;
    std::span<const std::byte> image;
};

/// Errors: kFileCorrupt, where there is no seal or a broken one.
[[nodiscard]] Result<SnapshotView> ParseSnapshot(std::span<const std::byte> image, std::span<const std::byte> seal);

/// The same for a snapshot in one piece.
[[nodiscard]] Result<SnapshotView> ParseSnapshot(std::span<const std::byte> bytes);

/// An open snapshot.
class ChangeSnapshot {
public:
    /// Errors: the file's; as ParseSnapshot. `path` need not exist: kFileNotFound.
    [[nodiscard]] static Result<ChangeSnapshot> Open(FileStore& files, const std::filesystem::path& path);

    /// Of an image in memory and its seal. Errors: as ParseSnapshot.
    [[nodiscard]] static Result<ChangeSnapshot> FromParts(std::vector<std::byte> image,
                                                          std::span<const std::byte> seal);

    [[nodiscard]] const SnapshotSeal& Seal() const noexcept { return m_seal; }
    void MoveTo(std::string_view home) { m_seal.MoveTo(home); }
    /// The image; null where it was altered or cut.
    [[nodiscard]] const KeyImage* Image() const noexcept { return m_image ? &*m_image : nullptr; }

private:
    void Take(SnapshotView view, const std::string& name);

    MappedFile m_file;              ///< of a snapshot in a file of its own
    std::vector<std::byte> m_bytes; ///< the image of any other one
    SnapshotSeal m_seal;
    std::optional<KeyImage> m_image; ///< over one of them
};

} // namespace tolvar
