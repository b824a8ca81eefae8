#pragma once

#include <cstdint>
#include <string_view>

#include <QColor>
#include <QFont>
#include <QPalette>

#include "ui/window_context.h"

namespace tolvar {

inline constexpr std::string_view kTabFont = "TabFont";

/// The font of trees ("TreeFont"), lists ("ListFont"), forms ("FormFont") or tabs (kTabFont): the profile's keys of
/// that beginning followed by Name, Size, Bold and Italic. Without a name or size there, the theme's; without one
/// there, the desktop's. A size is the height in pixels.
[[nodiscard]] QFont ProfileFont(const WindowContext& context, std::string_view keys);

/// The palette of a tree or list: the desktop's, or one with the theme's background and a text that stands out from it.
[[nodiscard]] QPalette ItemViewPalette(const WindowContext& context, const QPalette& desktop);

/// The colour of tinted rows as a COLORREF number: the theme's, or the highlight colour, nine tenths of the way to the
/// background of `palette`, so that text stays readable on it.
[[nodiscard]] std::uint32_t RowTint(const WindowContext& context, const QPalette& palette);

/// A colour of the theme library, which stores the number of a COLORREF: red in the lowest byte.
[[nodiscard]] QColor ColorFromNumber(uint number);

} // namespace tolvar
