#include "hexctrl/ui/hex_cells.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <QFontDatabase>
#include <QFontMetrics>

namespace tolvar {

namespace {

constexpr int kLeastPixels = 4;
constexpr int kMostPixels = 200;

QFont MakeFont(const HexFont& wanted)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (QFontDatabase::hasFamily(wanted.fontName)) {
        font.setFamily(wanted.fontName);
    }
    font.setStyleHint(QFont::Monospace);
    font.setWeight(static_cast<QFont::Weight>(std::clamp(wanted.fontWeight, 1, 1000)));
    font.setItalic(wanted.fontItalic != 0);
    const auto pixels = std::clamp(std::llabs(wanted.fontHeight), 0LL + kLeastPixels, 0LL + kMostPixels);
    font.setPixelSize(static_cast<int>(pixels));
    if (wanted.fontHeight > 0) {
        // A line of this height: the characters are as much smaller as the font's lines are higher.
        const int line = QFontMetrics(font).height();
        font.setPixelSize(
            std::max(static_cast<int>(std::lround(static_cast<double>(pixels * pixels) / line)), kLeastPixels));
    }
    return font;
}

} // namespace

HexCells::HexCells(const HexFont& font)
    : m_font(MakeFont(font)), m_rawFont(QRawFont::fromFont(m_font)), m_characters(CharactersOf(font.fontCharset))
{
    const QFontMetrics metrics(m_font);
    m_nCharWidth =
        std::max(metrics.horizontalAdvance(QLatin1Char('A')) + std::clamp(font.characterExtra, -100, 100), 1);
    m_nCharHeight = std::max(metrics.height(), 1);
    m_nAscent = metrics.ascent();
    for (std::size_t byte = 0; byte < m_glyphs.size(); ++byte) {
        const auto glyphs = m_rawFont.glyphIndexesForString(QString::fromUcs4(&m_characters[byte], 1));
        m_glyphs[byte] = glyphs.size() == 1 ? glyphs[0] : 0;
    }
}

QPoint HexCells::CellAt(QPoint point) const
{
    const auto floor = [](int number, int divisor) {
        return number >= 0 ? number / divisor : (number + 1) / divisor - 1;
    };
    return {floor(point.x() - Inset(), m_nCharWidth), floor(point.y(), m_nCharHeight)};
}

} // namespace tolvar
