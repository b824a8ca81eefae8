#pragma once

#include <QWidget>

#include "panes/command_ids.h"

namespace tolvar {

/// One of the frame's three panes. It fills itself with one child, passes the focus on to it, and passes commands on to
/// the control in it that does the work.
class CPaneView : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    /// Gives the focus to what the pane shows.
    virtual void FocusChild() = 0;

    /// The help topic of what the pane shows.
    [[nodiscard]] virtual int HelpTopic() const = 0;

    /// Whether a control of this pane carries the command out.
    [[nodiscard]] virtual bool Offers(CommandId command) const = 0;

    virtual void RunCommand(CommandId command) = 0;
};

} // namespace tolvar
