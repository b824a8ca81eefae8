#pragma once

#include <optional>

#include <QWidget>

#include "panes/pane_messages.h"

namespace tolvar {

/// Takes what a form says at its end.
class FormParent final : public QWidget, public PaneRouter {
public:
    int done = 0;
    bool isNew = false;
    std::optional<ValueEdit> edit; ///< nothing: cancelled

    void Route(const QWidget& /*sender*/, PaneMessage& message) override
    {
        HandleMessage<FormDoneMessage>(&message, [this](const FormDoneMessage& m) {
            ++done;
            isNew = m.isNew;
            edit = m.edit != nullptr ? std::optional(*m.edit) : std::nullopt;
        });
    }
};

} // namespace tolvar
