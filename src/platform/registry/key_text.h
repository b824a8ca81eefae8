#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/registry/winreg.h"

namespace tolvar {

/// Whether the registry's A calls convert data of this type: texts and lists of texts, not links.
[[nodiscard]] constexpr bool IsTextType(DWORD type) noexcept
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// Stored data as the A calls hand it out: UTF-16LE of a text type as UTF-8 with its terminators, all else unchanged.
/// An odd byte at the end of a text is left out.
[[nodiscard]] std::vector<std::byte> DataForCaller(DWORD type, std::span<const std::byte> stored);

} // namespace tolvar
