#pragma once

#include <array>
#include <cstdint>

#include <QFont>
#include <QPoint>
#include <QRawFont>

#include "hexctrl/hex_charset.h"

namespace tolvar {

/// The font of a hex control as its host sets it.
struct HexFont {
    QString fontName = QStringLiteral("Courier New"); ///< the desktop's fixed font where there is none of that name
    int fontHeight = 16;                              ///< of a line; below 0, of the characters
    int fontWeight = 400;
    int fontItalic = 0;
    std::uint32_t fontCharset = 1;
    int characterExtra = 0; ///< pixels between characters
};

/// The grid of cells that a font makes: one size for all of them, whole pixels, so that columns stand exactly below
/// each other at every scale.
class HexCells {
public:
    explicit HexCells(const HexFont& font);

    [[nodiscard]] int CharWidth() const { return m_nCharWidth; }
    [[nodiscard]] int CharHeight() const { return m_nCharHeight; }
    [[nodiscard]] int Ascent() const { return m_nAscent; }
    [[nodiscard]] const QFont& Font() const { return m_font; }
    [[nodiscard]] const QRawFont& RawFont() const { return m_rawFont; }
    /// What each byte is shown as, and its glyph: 0 where the font has none and another one has to help out.
    [[nodiscard]] const HexCharacters& Characters() const { return m_characters; }
    [[nodiscard]] quint32 GlyphOf(std::uint8_t byte) const { return m_glyphs[byte]; }

    /// The cell at a point of the window; negative above and left of the first one.
    [[nodiscard]] QPoint CellAt(QPoint point) const;
    /// The left edge of a column of cells.
    [[nodiscard]] int XOf(int column) const { return Inset() + column * m_nCharWidth; }
    [[nodiscard]] int YOf(int row) const { return row * m_nCharHeight; }
    [[nodiscard]] int ColumnsIn(int width) const { return (width - Inset()) / m_nCharWidth; }
    [[nodiscard]] int RowsIn(int height) const { return height / m_nCharHeight; }

private:
    [[nodiscard]] int Inset() const { return m_nCharWidth / 2; } ///< keeps the addresses off the frame

    QFont m_font;
    QRawFont m_rawFont;
    HexCharacters m_characters;
    std::array<quint32, 256> m_glyphs{};
    int m_nCharWidth;
    int m_nCharHeight;
    int m_nAscent;
};

} // namespace tolvar
