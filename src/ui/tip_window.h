#pragma once

#include <QBasicTimer>
#include <QLabel>

namespace tolvar {

/// A tip that a control shows by itself, for as long as it stays true. Unlike the toolkit's own tips it does not mind
/// where the pointer is: it lets the pointer through, and goes when it is told to, when its time is over, or when its
/// owner's window is left.
class CTipWindow final : public QLabel {
    Q_OBJECT

public:
    static constexpr int kMaxWidth = 270; ///< pixels; longer lines wrap
    static constexpr int kTime = 25'000;  ///< milliseconds that it stays

    /// `owner` owns the tip.
    explicit CTipWindow(QWidget* owner);

    /// Shows lines of plain text with its upper left corner at a place of the screen, or as near as there is room.
    void ShowLines(const QStringList& lines, const QPoint& at);

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QBasicTimer m_timer;
};

} // namespace tolvar
