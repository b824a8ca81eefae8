#include "ui/theme_list_ctrl.h"

#include <algorithm>

#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>

#include "ui/profile_font.h"
#include "ui/shown_text_delegate.h"

namespace tolvar {

/// Draws one cell with the colours and the font that the hooks have answered.
class CThemeListCtrl::Delegate final : public ShownTextDelegate {
public:
    explicit Delegate(CThemeListCtrl* list) : ShownTextDelegate(list), m_pList(list) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        m_pList->DrawCell(painter, option, index);
    }

    void PaintWith(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                   const RowStage& look)
    {
        m_look = look;
        ShownTextDelegate::paint(painter, option, index);
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        ShownTextDelegate::initStyleOption(option, index);
        if (m_look.font) {
            option->font = *m_look.font;
            option->fontMetrics = QFontMetrics(*m_look.font);
        }
        if (m_look.text != kUsualColor) {
            option->palette.setColor(QPalette::Text, ColorFromNumber(m_look.text));
        }
        if (m_look.back != kUsualColor) {
            option->backgroundBrush = ColorFromNumber(m_look.back);
        }
    }

private:
    CThemeListCtrl* m_pList;
    RowStage m_look;
};

CThemeListCtrl::CThemeListCtrl(QWidget* parent) : QTreeView(parent), m_pDelegate(new Delegate(this))
{
    setItemDelegate(m_pDelegate);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setMouseTracking(true);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(ExtendedSelection);
    setHorizontalScrollMode(ScrollPerPixel);
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
}

void CThemeListCtrl::ApplySettings(const WindowContext& context)
{
    constexpr QSize kIconSize(16, 16);
    setFont(ProfileFont(context, "ListFont"));
    setPalette(ItemViewPalette(context, palette()));
    setIconSize(kIconSize);
    SetGridLines(context.profile.GetInt(kSettingsSection, "Hilight Lists", 0) != 0);
}

int CThemeListCtrl::ColumnWidth(int width) const
{
    constexpr int kCharacterWidth = 5;
    return std::max(width, width * fontMetrics().averageCharWidth() / kCharacterWidth);
}

void CThemeListCtrl::SetGridLines(bool hasLines)
{
    m_bGridLines = hasLines;
    viewport()->update();
}

void CThemeListCtrl::paintEvent(QPaintEvent* event)
{
    const bool wantsPostPaint = WantPostPaint();
    m_bNotifyItems = WantItemNotifications();
    bool isDrawn = false;
    if (WantListPredraw()) {
        QPainter painter(viewport());
        isDrawn = ListPredraw(painter);
    }
    if (!isDrawn) {
        QTreeView::paintEvent(event);
    }
    if (wantsPostPaint && WantListPostdraw()) {
        QPainter painter(viewport());
        ListPostdraw(painter);
    }
}

void CThemeListCtrl::drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    m_rowStage = {};
    if (!m_bNotifyItems) {
        QTreeView::drawRow(painter, option, index);
        DrawGridLines(*painter, option.rect);
        return;
    }
    auto& self =
        const_cast<CThemeListCtrl&>(*this); // the framework draws through a const view, the hooks may keep state
    QStyle::State state = option.state;
    state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    const ListItem item = ItemAt(index, state);
    const bool wantsPostPaint = WantItemPostPaint(item);
    m_rowStage.wantsSubitems = WantSubitemNotifications(item);
    m_rowStage.text = ItemTextColor(item);
    m_rowStage.back = ItemBackColor(item);
    m_rowStage.font = ItemFont(item);
    const bool hasFont = m_rowStage.font.has_value();
    if (!(WantItemPredraw(item) && self.ItemPredraw(*painter, item))) {
        QTreeView::drawRow(painter, option, index);
        DrawGridLines(*painter, option.rect);
    }
    m_rowStage = {};
    if ((wantsPostPaint || hasFont) && WantItemPostdraw()) {
        self.ItemPostdraw(*painter, item);
    }
}

void CThemeListCtrl::DrawCell(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (!m_rowStage.wantsSubitems) {
        m_pDelegate->PaintWith(painter, option, index, m_rowStage);
        return;
    }
    auto& self = const_cast<CThemeListCtrl&>(*this);
    const ListCell cell{ItemAt(index, option.state), index.column()};
    const bool wantsPostPaint = WantSubitemPostPaint(cell);
    RowStage look;
    look.text = SubitemTextColor(cell);
    look.back = SubitemBackColor(cell);
    look.font = SubitemFont(cell);
    const bool hasFont = look.font.has_value();
    if (!look.font) {
        look.font = m_rowStage.font;
    }
    if (!(WantSubitemPredraw(cell) && self.SubitemPredraw(*painter, cell))) {
        m_pDelegate->PaintWith(painter, option, index, look);
    }
    if ((wantsPostPaint || hasFont) && WantSubitemPostdraw()) {
        self.SubitemPostdraw(*painter, cell);
    }
}

void CThemeListCtrl::DrawGridLines(QPainter& painter, const QRect& row) const
{
    if (!m_bGridLines) {
        return;
    }
    QColor line = palette().color(QPalette::Text);
    line.setAlphaF(0.15F);
    painter.setPen(line);
    painter.drawLine(row.bottomLeft(), row.bottomRight());
    for (int column = 0; column < header()->count(); ++column) {
        const int right = header()->sectionViewportPosition(column) + header()->sectionSize(column) - 1;
        painter.drawLine(right, row.top(), right, row.bottom());
    }
}

ListItem CThemeListCtrl::ItemAt(const QModelIndex& index, QStyle::State state)
{
    return {index.row(), state, index.siblingAtColumn(0).data(kItemDataRole).toLongLong()};
}

void CThemeListCtrl::mouseMoveEvent(QMouseEvent* event)
{
    QTreeView::mouseMoveEvent(event);
    const QModelIndex under = indexAt(event->position().toPoint()).siblingAtColumn(0);
    if (m_nHoverTime == 0 || under == m_hoverIndex) {
        return;
    }
    m_hoverIndex = under;
    m_hoverTimer.stop();
    if (under.isValid() && event->buttons() == Qt::NoButton && event->modifiers() == Qt::NoModifier) {
        m_hoverTimer.start(m_nHoverTime, this);
    }
}

void CThemeListCtrl::leaveEvent(QEvent* event)
{
    m_hoverTimer.stop();
    m_hoverIndex = QModelIndex();
    QTreeView::leaveEvent(event);
}

void CThemeListCtrl::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_hoverTimer.timerId()) {
        QTreeView::timerEvent(event);
        return;
    }
    m_hoverTimer.stop();
    if (m_hoverIndex.isValid() && state() == NoState) {
        selectionModel()->setCurrentIndex(m_hoverIndex,
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
}

} // namespace tolvar
