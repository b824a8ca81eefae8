#pragma once

#include <cstdint>
#include <optional>

#include <QBasicTimer>
#include <QTreeView>

#include "ui/window_context.h"

namespace tolvar {

/// A colour as the drawing hooks answer it: a COLORREF, red in the lowest byte.
using ListColor = std::uint32_t;
inline constexpr ListColor kUsualColor = 0xFF000000; ///< no colour of the list's own: the control's usual one

/// One row as the drawing hooks see it.
struct ListItem {
    int row = 0;
    QStyle::State state;
    qint64 data = 0; ///< what the model keeps of the row (kItemDataRole)
};

/// One cell of a row.
struct ListCell : ListItem {
    int column = 0;
};

inline constexpr int kItemDataRole = Qt::UserRole; ///< the row's item data, on column 0

/// The base of all lists: a table of whole rows that turns the stages of drawing into plain virtual operations, so that
/// a list only answers a few questions. It holds no rows and no colours of its own. A list that answers none draws as
/// the plain control does.
class CThemeListCtrl : public QTreeView {
public:
    explicit CThemeListCtrl(QWidget* parent);

    /// Takes font, colours and grid lines from the settings of lists.
    void ApplySettings(const WindowContext& context);

    /// The width of a column, in pixels, whose width is `width` in a font with characters of five pixels on average:
    /// more in a larger font, and never less.
    [[nodiscard]] int ColumnWidth(int width) const;

    /// Whether lines separate rows and columns.
    void SetGridLines(bool hasLines);

    /// A row under the resting pointer is selected after this time in milliseconds; 0 switches that off.
    void SetHoverTime(int milliseconds) { m_nHoverTime = milliseconds; }

protected:
    // Whole list.
    [[nodiscard]] virtual bool WantListPredraw() const { return false; }
    virtual bool ListPredraw(QPainter& /*painter*/) { return false; } ///< true: nothing more is drawn
    [[nodiscard]] virtual bool WantItemNotifications() const { return false; }
    [[nodiscard]] virtual bool WantPostPaint() const { return false; }
    [[nodiscard]] virtual bool WantListPostdraw() const { return false; }
    virtual void ListPostdraw(QPainter& /*painter*/) {}

    // One row; asked only where WantItemNotifications answers true.
    [[nodiscard]] virtual std::optional<QFont> ItemFont(const ListItem& /*item*/) const { return std::nullopt; }
    [[nodiscard]] virtual ListColor ItemTextColor(const ListItem& /*item*/) const { return kUsualColor; }
    [[nodiscard]] virtual ListColor ItemBackColor(const ListItem& /*item*/) const { return kUsualColor; }
    [[nodiscard]] virtual bool WantItemPredraw(const ListItem& /*item*/) const { return false; }
    virtual bool ItemPredraw(QPainter& /*painter*/, const ListItem& /*item*/) { return false; } ///< true: row is drawn
    [[nodiscard]] virtual bool WantSubitemNotifications(const ListItem& /*item*/) const { return false; }
    [[nodiscard]] virtual bool WantItemPostPaint(const ListItem& /*item*/) const { return false; }
    [[nodiscard]] virtual bool WantItemPostdraw() const { return false; }
    virtual void ItemPostdraw(QPainter& /*painter*/, const ListItem& /*item*/) {}

    // One cell; asked only where WantSubitemNotifications answers true.
    [[nodiscard]] virtual std::optional<QFont> SubitemFont(const ListCell& /*cell*/) const { return std::nullopt; }
    [[nodiscard]] virtual ListColor SubitemTextColor(const ListCell& /*cell*/) const { return kUsualColor; }
    [[nodiscard]] virtual ListColor SubitemBackColor(const ListCell& /*cell*/) const { return kUsualColor; }
    [[nodiscard]] virtual bool WantSubitemPredraw(const ListCell& /*cell*/) const { return false; }
    virtual bool SubitemPredraw(QPainter& /*painter*/, const ListCell& /*cell*/)
    {
        return false;
    } ///< true: cell is drawn
    [[nodiscard]] virtual bool WantSubitemPostPaint(const ListCell& /*cell*/) const { return false; }
    [[nodiscard]] virtual bool WantSubitemPostdraw() const { return false; }
    virtual void SubitemPostdraw(QPainter& /*painter*/, const ListCell& /*cell*/) {}

    void paintEvent(QPaintEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    class Delegate;

    /// What the stage before has answered for the row that is being drawn.
    struct RowStage {
        bool wantsSubitems = false;
        ListColor text = kUsualColor;
        ListColor back = kUsualColor;
        std::optional<QFont> font;
    };

    void DrawCell(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void DrawGridLines(QPainter& painter, const QRect& row) const;
    [[nodiscard]] static ListItem ItemAt(const QModelIndex& index, QStyle::State state);

    Delegate* m_pDelegate; ///< owned by the view
    bool m_bGridLines = false;
    bool m_bNotifyItems = false; ///< the answer at the start of this drawing
    mutable RowStage m_rowStage;
    int m_nHoverTime = 0;
    QBasicTimer m_hoverTimer;
    QPersistentModelIndex m_hoverIndex;
};

} // namespace tolvar
