#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/registry/winreg_access.h"

namespace tolvar {

// What images of values are made of, for the calls that make them.

struct ImagedValue {
    std::u16string name;
    std::uint32_t type = 0;
    std::vector<std::byte> data;
    std::uint32_t place = 0; ///< in the key's list
};

/// The one stored key of a call that works on images, or its code: 50 for a merged key, 5 for one that lies in no hive.
[[nodiscard]] tl::expected<KeyPart, LSTATUS> StoredKey(const RegistryCall& call);

/// Takes a value out of its hive. Errors: kRegistryCorrupt, kRegistryIoFailed.
[[nodiscard]] Result<ImagedValue> ReadImaged(const Hive& hive, const PlacedValue& value);

/// The image of values: see ImageOfValues. Errors: kNotEnoughMemory.
[[nodiscard]] Result<std::vector<std::byte>> ComposeImage(std::span<const ImagedValue> values, const Clock& clock);

} // namespace tolvar
