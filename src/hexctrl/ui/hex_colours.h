#pragma once

#include <array>
#include <cstdint>
#include <span>

#include <QColor>
#include <QPalette>

namespace tolvar {

/// The places of the colour table, which a host sets as a block.
enum class HexColourIndex : std::size_t {
    kAddressBack = 0,
    kAddressText = 1, // 2 to 5 draw nothing
    kHexBack = 6,
    kHexText = 7,
    kHexSelectedBack = 8,
    kHexSelectedText = 9,
    kHexMarkedBack = 10,
    kHexMarkedText = 11,
    kTextBack = 12,
    kTextText = 13,
    kTextSelectedBack = 14,
    kTextSelectedText = 15,
    kTextMarkedBack = 16,
    kTextMarkedText = 17,
    kInsertCaretBack = 18,
    kCount = 19
};

/// The colours that the control draws with.
struct HexColours {
    std::array<QColor, static_cast<std::size_t>(HexColourIndex::kCount)> table;
    QColor changed;       ///< text of bytes that were changed
    bool isHosts = false; ///< the table came from the host and is drawn to the letter, without shades of our own

    [[nodiscard]] const QColor& operator[](HexColourIndex index) const
    {
        return table[static_cast<std::size_t>(index)];
    }

    /// Those of a palette, light or dark.
    [[nodiscard]] static HexColours Of(const QPalette& palette);
    /// Those of a host: numbers with red in the lowest byte.
    [[nodiscard]] static HexColours
    Of(std::span<const std::uint32_t, static_cast<std::size_t>(HexColourIndex::kCount)> numbers,
       const QPalette& palette);
};

/// `share` of one colour, from 0 to 1, in the other.
[[nodiscard]] QColor MixColours(const QColor& of, const QColor& in, double share);

} // namespace tolvar
