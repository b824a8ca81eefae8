#pragma once

#include <vector>

#include <QGlyphRun>
#include <QPainter>

#include "hexctrl/hex_view.h"
#include "hexctrl/ui/hex_cells.h"
#include "hexctrl/ui/hex_colours.h"

namespace tolvar {

/// How the caret stands at the moment.
struct HexCaretLook {
    bool hasFocus = false;
    bool isBlinkedOff = false;
    bool isInserting = false;
};

/// Draws the rows of a hex control. All glyphs of one colour go out in one call, each at its own place of the grid.
class HexPainter {
public:
    HexPainter(const CHexData& data, const HexView& view, const HexCells& cells, const HexColours& colours,
               const HexCaretLook& caret);

    /// Draws what of a window of this size lies in `clip`.
    void Paint(QPainter& painter, const QRect& window, const QRect& clip);

private:
    struct Look {
        QColor text;
        QColor back; ///< invalid: that of the column
    };
    struct Column {
        HexPane pane;
        HexColourIndex back, text, selectedBack, selectedText, markedBack, markedText;
    };
    struct Run {
        QRgb colour;
        QVector<quint32> glyphs;
        QVector<QPointF> places;
    };

    void PaintBands(QPainter& painter, const QRect& window) const;
    void PaintRow(QPainter& painter, int row);
    void PaintAddress(QPainter& painter, int row);
    void PaintByte(QPainter& painter, const Column& column, int row, int byte);
    void PutChar(QPainter& painter, int column, int row, std::uint8_t character, const QColor& colour);
    void PutDigits(QPainter& painter, int row, int byte, const Look& high, const Look& low);
    void PutBack(QPainter& painter, int column, int row, int width, const QColor& colour) const;
    [[nodiscard]] Look PlainLook(const Column& column, std::int64_t offset) const;
    [[nodiscard]] Look SelectedLook(const Column& column, std::int64_t offset) const;
    [[nodiscard]] bool IsSelected(std::int64_t offset) const;
    [[nodiscard]] bool IsMarked(std::int64_t offset) const;
    [[nodiscard]] bool HasCaret(const Column& column, std::int64_t offset) const;
    Run& RunOf(const QColor& colour);

    static const Column kHex;
    static const Column kText;

    const CHexData& m_data;
    const HexView& m_view;
    const HexCells& m_cells;
    const HexColours& m_colours;
    const HexCaretLook& m_caret;
    CHexData::Range m_selected;
    std::vector<std::uint8_t> m_bytes; ///< those in view
    std::vector<bool> m_changed;
    std::vector<Run> m_runs;
};

} // namespace tolvar
