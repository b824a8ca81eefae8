#pragma once

#include <array>
#include <cstdint>

#include "ui/picture_ids.h"

namespace tolvar {

/// The picture of a value of that type. Type 11 shares the one of the custom types, as it shares their name: a number
/// must not look like a subkey.
[[nodiscard]] constexpr IconId TypeIcon(std::uint32_t type) noexcept
{
    constexpr std::array kIcons = {IconId::kNoType,
                                   IconId::kString,
                                   IconId::kExpandString,
                                   IconId::kBinary,
                                   IconId::kDword,
                                   IconId::kDwordBigEndian,
                                   IconId::kLink,
                                   IconId::kMultiString,
                                   IconId::kResourceList,
                                   IconId::kFullResourceDescriptor,
                                   IconId::kResourceRequirements};
    return type < kIcons.size() ? kIcons[type] : IconId::kOtherType;
}

} // namespace tolvar
