#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "platform/hive/hive.h"
#include "platform/registry/winreg.h"

namespace tolvar {

/// Whether the registry's A calls convert data of this type: texts and lists of texts, not links.
[[nodiscard]] constexpr bool IsTextType(DWORD type) noexcept
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// The data of a value as the A calls hand it out: UTF-16LE of a text type as UTF-8 with its terminators, all else
/// unchanged. An odd byte at the end of a text is left out. Answers how many bytes it takes in all, and stores as many
/// of them in `room` as fit. No room at all asks for the size alone, and then only a text is read.
[[nodiscard]] Checked<std::size_t> DataForCaller(const Hive& hive, const ValueRecord& value, std::span<std::byte> room);

/// The data that is stored for what a caller of an A call hands over. Nothing for a text that is no UTF-8.
[[nodiscard]] std::optional<std::vector<std::byte>> DataFromCaller(DWORD type, std::span<const BYTE> data);

} // namespace tolvar
