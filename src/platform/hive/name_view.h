#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/hive/cell.h"

namespace tolvar {

/// A name as it lies in the hive: one byte a unit (Latin-1), or two (UTF-16, any units at all).
struct NameView {
    const std::byte* data = nullptr;
    std::uint16_t bytes = 0;
    bool isLatin1 = true;

    [[nodiscard]] std::size_t size() const noexcept { return isLatin1 ? bytes : bytes / 2U; }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    [[nodiscard]] char16_t operator[](std::size_t at) const noexcept
    {
        return isLatin1 ? static_cast<char16_t>(std::to_integer<unsigned char>(data[at]))
                        : LoadLittle<char16_t>(data + 2 * at);
    }

    [[nodiscard]] std::u16string ToUtf16() const;
    /// Appends the name in the form that platform/system/text.h defines for names.
    void AppendUtf8(std::string& out) const;
    [[nodiscard]] std::string ToUtf8() const;
};

/// Whether every unit of a name fits into a byte. Such a name is stored so, and always: equal names are then equal
/// bytes.
[[nodiscard]] bool FitsLatin1(std::u16string_view name) noexcept;

/// The bytes with which a name is stored: one a unit where FitsLatin1, else two.
[[nodiscard]] std::vector<std::byte> StoredName(std::u16string_view name);

/// Order without regard to case, as CompareNames.
[[nodiscard]] int CompareNames(const NameView& left, std::u16string_view right) noexcept;
[[nodiscard]] int CompareNames(const NameView& left, const NameView& right) noexcept;

/// The hash that an `lh` list keeps of a name: h = h * 37 + upper case, modulo 2^32 (docs/hive-format.md, Hash of
/// names).
[[nodiscard]] std::uint32_t NameHash(std::u16string_view name) noexcept;
[[nodiscard]] std::uint32_t NameHash(const NameView& name) noexcept;

/// The hint that an `lf` list keeps of a name: its first four units as bytes, or 0 where one of them is none
/// (docs/hive-format.md, Hints).
[[nodiscard]] std::uint32_t NameHint(std::u16string_view name) noexcept;
[[nodiscard]] std::uint32_t NameHint(const NameView& name) noexcept;

} // namespace tolvar
