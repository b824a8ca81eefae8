#pragma once

#include <QStyledItemDelegate>

namespace tolvar {

/// Draws texts of a registry on one line: control characters as their pictures (U+2400 and on), so that a name with a
/// line feed or a zero in it is seen for what it is, and no more of a long text than the cell can show.
class ShownTextDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

/// `text` with control characters as their pictures, at most `limit` units of it and "..." for the rest.
[[nodiscard]] QString ShownText(const QString& text, qsizetype limit);

} // namespace tolvar
