#include "panes/pane_messages.h"

#include <QCoreApplication>

namespace tolvar {

int SendToParent(const QWidget& sender, PaneMessage& message)
{
    for (QWidget* receiver = sender.parentWidget(); receiver != nullptr && !message.isAccepted();
         receiver = receiver->parentWidget()) {
        QCoreApplication::sendEvent(receiver, &message);
    }
    return message.result;
}

} // namespace tolvar
