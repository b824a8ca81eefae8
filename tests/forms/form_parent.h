#pragma once

#include <optional>

#include <QWidget>

#include "panes/pane_messages.h"

namespace tolvar {

/// Takes what a form says at its end.
class FormParent final : public QWidget {
public:
    int done = 0;
    bool isNew = false;
    std::optional<ValueEdit> edit; ///< nothing: cancelled

protected:
    bool event(QEvent* event) override
    {
        return HandleMessage<FormDoneMessage>(event,
                                              [this](const FormDoneMessage& m) {
                                                  ++done;
                                                  isNew = m.isNew;
                                                  edit = m.edit != nullptr ? std::optional(*m.edit) : std::nullopt;
                                              }) ||
               QWidget::event(event);
    }
};

} // namespace tolvar
