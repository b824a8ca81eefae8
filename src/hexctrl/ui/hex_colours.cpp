#include "hexctrl/ui/hex_colours.h"

namespace tolvar {

namespace {

constexpr double kDarkening = 0.3;

struct Shades {
    QRgb addressBack, addressText, markedBack, markedText, changed;
};
constexpr Shades kOnLight{0xFFF7F7F7, 0xFF1E2864, 0xFFF7F7E6, 0xFF1E2864, 0xFFC01C28};
constexpr Shades kOnDark{0xFF28282B, 0xFFA9B4E6, 0xFF3D3A24, 0xFFE6DFB0, 0xFFFF8A80};
constexpr QRgb kInsertCaret = 0xFF5A958C;

QColor Darkened(const QColor& colour)
{
    const auto channel = [](int value) { return value - static_cast<int>(kDarkening * value); };
    return {channel(colour.red()), channel(colour.green()), channel(colour.blue())};
}

} // namespace

HexColours HexColours::Of(const QPalette& palette)
{
    const QColor back = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const QColor selected = Darkened(palette.color(QPalette::Highlight));
    const QColor selectedText = palette.color(QPalette::HighlightedText);
    const bool isDark = back.lightness() < 128;
    const Shades& shades = isDark ? kOnDark : kOnLight;
    const auto shade = [](QRgb number) { return QColor::fromRgb(number); };
    HexColours colours;
    colours.table = {shade(shades.addressBack),
                     shade(shades.addressText),
                     selected,
                     selectedText,
                     text,
                     back,
                     back,
                     text,
                     selected,
                     selectedText,
                     shade(shades.markedBack),
                     shade(shades.markedText),
                     back,
                     text,
                     selected,
                     selectedText,
                     shade(shades.markedBack),
                     shade(shades.markedText),
                     shade(kInsertCaret)};
    colours.changed = shade(shades.changed);
    return colours;
}

HexColours HexColours::Of(std::span<const std::uint32_t, static_cast<std::size_t>(HexColourIndex::kCount)> numbers,
                          const QPalette& palette)
{
    HexColours colours = Of(palette);
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        const auto channel = [&](unsigned shift) { return static_cast<int>(numbers[index] >> shift & 0xFF); };
        colours.table[index] = QColor(channel(0), channel(8), channel(16));
    }
    colours.isHosts = true;
    return colours;
}

QColor MixColours(const QColor& of, const QColor& in, double share)
{
    const auto channel = [share](int from, int into) { return static_cast<int>(share * from + (1 - share) * into); };
    return {channel(of.red(), in.red()), channel(of.green(), in.green()), channel(of.blue(), in.blue())};
}

} // namespace tolvar
