#include "app/window_palette.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

namespace tolvar {

namespace {

QPalette DarkPalette()
{
    constexpr QRgb kWindow = 0xFF3A3A3E;
    constexpr QRgb kBase = 0xFF1E1E1E;
    constexpr QRgb kText = 0xFFE4E4E4;
    constexpr QRgb kDimText = 0xFF808080;
    constexpr QRgb kHighlight = 0xFF2F65A8;
    QPalette palette(QColor::fromRgb(kWindow), QColor::fromRgb(kWindow));
    palette.setColor(QPalette::Base, QColor::fromRgb(kBase));
    palette.setColor(QPalette::AlternateBase, QColor::fromRgb(kWindow));
    palette.setColor(QPalette::ToolTipBase, QColor::fromRgb(kWindow));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, QColor::fromRgb(kText));
        palette.setColor(QPalette::Disabled, role, QColor::fromRgb(kDimText));
    }
    palette.setColor(QPalette::PlaceholderText, QColor::fromRgb(kDimText));
    palette.setColor(QPalette::Highlight, QColor::fromRgb(kHighlight));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor::fromRgb(0xFF6CB4FF));
    return palette;
}

} // namespace

void ApplyPalette(StudioOptions::Palette palette)
{
    if (palette == StudioOptions::Palette::kDesktop) {
        return;
    }
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion"))); // others take no palette but their own
    QApplication::setPalette(palette == StudioOptions::Palette::kDark ? DarkPalette()
                                                                      : QApplication::style()->standardPalette());
}

} // namespace tolvar
