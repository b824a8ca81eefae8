#pragma once

#include <array>

#include <QStatusBar>

#include "ui/window_context.h"

class QLabel;

namespace tolvar {

class PathLabel;

/// The frame's status bar: the selected key's path, and the lock keys that are on.
class CStatusBar final : public QStatusBar {
    Q_OBJECT

public:
    static constexpr int kPaneWidth = 85; ///< of each pane behind the first

    CStatusBar(const WindowContext& context, QWidget* parent);

    void SetPathText(const QString& text);
    [[nodiscard]] QString PathText() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowLocks();

    PathLabel* m_pPath; ///< all owned by the bar
    std::array<QLabel*, 3> m_locks{};
    std::array<QString, 3> m_lockTexts;
};

} // namespace tolvar
