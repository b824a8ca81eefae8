#pragma once

#include <cstdint>

namespace tolvar {

/// What the platform says of itself.
struct PlatformVersion {
    std::uint32_t platformId; ///< 2: the NT family; 1: the older one
    std::uint32_t major;
    std::uint32_t minor;

    [[nodiscard]] bool IsNT() const noexcept { return platformId != 1; }
};

/// The NT family, version 5.1. The environment variable TOLVAR_PLATFORM=9x answers platform identifier 1, version 4.10,
/// and TOLVAR_PLATFORM=MAJOR.MINOR the NT family in that version: both are for tests.
[[nodiscard]] PlatformVersion GetPlatformVersion();

} // namespace tolvar
