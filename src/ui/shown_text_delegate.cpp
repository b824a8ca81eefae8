#include "ui/shown_text_delegate.h"

#include <algorithm>

namespace tolvar {

QString ShownText(const QString& text, qsizetype limit)
{
    QString shown = text.left(limit);
    for (QChar& unit : shown) {
        if (unit < u' ') {
            unit = QChar(0x2400 + unit.unicode());
        } else if (unit == u'\x7F') {
            unit = QChar(0x2421);
        }
    }
    if (shown.size() < text.size()) {
        shown.append(QChar(0x2026));
    }
    return shown;
}

void ShownTextDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    constexpr int kLeast = 64;
    QStyledItemDelegate::initStyleOption(option, index);
    // No character is narrower than a pixel, and laying out a text costs time by its length.
    const int limit = std::max(option->rect.width(), kLeast);
    option->text = ShownText(index.data(Qt::DisplayRole).toString(), limit);
}

} // namespace tolvar
