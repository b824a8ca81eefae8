#pragma once

#include <QWidget>

namespace tolvar {

/// One line of text that never asks for more room than there is: a path that is too long loses its middle, and shows
/// whole as a tip.
class PathLabel final : public QWidget {
    Q_OBJECT

public:
    PathLabel(const QString& accessibleName, QWidget* parent);

    void SetText(const QString& text);
    [[nodiscard]] const QString& Text() const { return m_text; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
};

} // namespace tolvar
