#pragma once

#include <vector>

#include "panes/pane.h"

namespace tolvar {

/// One of the frame's three views. It fills itself with one child, passes the focus on to it, and passes commands on to
/// the pane in it that does the work.
class CPaneView : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    /// All panes of the view that exist now.
    [[nodiscard]] virtual std::vector<Pane*> Panes() const = 0;

    /// The pane that is shown.
    [[nodiscard]] virtual Pane& ActivePane() const = 0;

    /// Gives the focus to what the view shows.
    virtual void FocusChild() { ActivePane().TakeFocus(); }

    /// The pane that carries the command out; null for none.
    [[nodiscard]] virtual Pane* PaneFor(CommandId command) const = 0;
};

} // namespace tolvar
