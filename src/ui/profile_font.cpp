#include "ui/profile_font.h"

#include <cstdlib>
#include <string>

#include <QFontDatabase>

namespace tolvar {

namespace {} // namespace

QFont ProfileFont(const WindowContext& context, std::string_view keys)
{
    const bool isOfTabs = keys == kTabFont;
    const auto number = [&](const char* suffix, int fallback) {
        return context.profile.GetInt(kSettingsSection, std::string(keys) + suffix, fallback);
    };
    const std::string face = context.profile.GetString(
        kSettingsSection, std::string(keys) + "Name",

        context.theme.String(isOfTabs ? ThemeTextId::kTabFontName : ThemeTextId::kFontName).toStdString());
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    if (!face.empty()) {
        font.setFamily(QString::fromStdString(face));
    }
    // A negative height is that of the characters, a positive one that of the line: near enough for one to be the
    // other.
    if (const int height = number("Size", static_cast<int>(context.theme.Number(isOfTabs ? ThemeTextId::kTabFontSize
                                                                                         : ThemeTextId::kFontSize)));
        height != 0) {
        font.setPixelSize(std::abs(height));
    }
    font.setWeight(number("Bold", 0) > 0 ? QFont::Bold : QFont::Normal);
    font.setItalic(number("Italic", 0) > 0);
    return font;
}

QPalette ItemViewPalette(const WindowContext& context, const QPalette& desktop)
{
    QPalette palette = desktop;
    if (context.m_bThemed) {
        const QColor background = ColorFromNumber(context.theme.Number(ThemeTextId::kViewColor));
        palette.setColor(QPalette::Base, background);
        palette.setColor(QPalette::Text, background.lightness() > 127 ? Qt::black : Qt::white);
    }
    return palette;
}

std::uint32_t RowTint(const WindowContext& context, const QPalette& palette)
{
    if (context.m_bThemed) {
        return context.theme.Number(ThemeTextId::kViewColor);
    }
    const QColor highlight = palette.color(QPalette::Highlight);
    const QColor base = palette.color(QPalette::Base);
    const auto mix = [](int from, int to) { return static_cast<std::uint32_t>(from + (to - from) * 9 / 10); };
    return mix(highlight.red(), base.red()) | mix(highlight.green(), base.green()) << 8 |
           mix(highlight.blue(), base.blue()) << 16;
}

QColor ColorFromNumber(uint number)
{
    return QColor::fromRgb(static_cast<int>(number & 0xFF), static_cast<int>(number >> 8 & 0xFF),
                           static_cast<int>(number >> 16 & 0xFF));
}

} // namespace tolvar
