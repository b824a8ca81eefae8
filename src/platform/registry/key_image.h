#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/registry/winreg.h"
#include "platform/system/error.h"

namespace tolvar {

class Hive;
struct ValueRecord;

// Exact images of what is about to be changed: small hives in memory, with classes, times, security, names and data of
// any kind as they are stored. All work on the session's registry, through open handles.

/// An image that is at hand as bytes.
class KeyImage {
public:
    /// Over bytes that must outlive it. `name` stands for the file in messages. Errors: as Hive::Open;
    /// kRegistryCorrupt for an image that is cut short.
    [[nodiscard]] static Result<KeyImage> FromBytes(std::span<const std::byte> bytes, std::string name);
    ~KeyImage();
    KeyImage(KeyImage&& other) noexcept;
    KeyImage& operator=(KeyImage&& other) noexcept;

    /// The name that the imaged key has; empty where it can't be read.
    [[nodiscard]] std::string KeyName() const;

    /// Whether it holds any value of the key itself.
    [[nodiscard]] bool HasValues() const;

    /// The value of that name; nothing where it holds none, or it can't be read.
    [[nodiscard]] std::optional<ValueRecord> FindValue(const std::string& name) const;

    /// The inside, for the calls below.
    [[nodiscard]] const Hive& Inside() const noexcept { return *m_hive; }

private:
    explicit KeyImage(std::unique_ptr<Hive> hive) noexcept;

    std::unique_ptr<Hive> m_hive;
};

/// What stands against changing a key: 5 for one that lies in no hive, or is a root or a place where something is
/// mounted; 19 in a hive that is mounted read only. A key may hold mounts and still take values and subkeys: see
/// CheckTree.
[[nodiscard]] LSTATUS CheckWritable(HKEY key);

/// What stands against taking a whole subtree away: CheckWritable, 5 where the key is a root, has something mounted in
/// it, or where the session's user does not get `access` on every key of it.
[[nodiscard]] LSTATUS CheckTree(HKEY key, REGSAM access);

/// The name of the key as it is stored, in its own spelling.
[[nodiscard]] Result<std::string> StoredKeyName(HKEY key);

/// A hive with the key and all below it. Its root keeps the key's name.
/// Errors: kAccessDenied for a key that lies in no hive; kNotSupported for a merged one, whose stored keys have images
/// each; kRegistryCorrupt where a record can't be read.
[[nodiscard]] Result<std::vector<std::byte>> ImageOfKey(HKEY key);

/// A hive whose root holds those of the named values that the key has, and in its class their places in the key's list,
/// in decimal and with blanks between them. Errors as ImageOfKey.
[[nodiscard]] Result<std::vector<std::byte>> ImageOfValues(HKEY key, std::span<const std::string> names);

/// Lays the content of an image that ImageOfKey made over a key: see HiveWriter::Merge.
[[nodiscard]] Result<void> LayKeyImage(HKEY key, const KeyImage& image);

/// Makes a key exactly what the image holds that ImageOfKey made, whatever has come into it since: see
/// HiveWriter::Replace. Handles to keys below it stand for deleted ones then. Its name stays. Errors: also
/// kNotSupported for a merged key.
[[nodiscard]] Result<void> ReplaceByKeyImage(HKEY key, const KeyImage& image);

/// Puts the values of an image that ImageOfValues made back into a key, each in its place in the list.
[[nodiscard]] Result<void> LayValueImage(HKEY key, const KeyImage& image);

} // namespace tolvar
