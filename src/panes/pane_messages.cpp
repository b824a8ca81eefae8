#include "panes/pane_messages.h"

#include <QCoreApplication>

namespace tolvar {

int SendToParent(const QWidget& sender, PaneMessage& message)
{
    for (QWidget* parent = sender.parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (auto* const router = dynamic_cast<PaneRouter*>(parent)) {
            router->Route(sender, message);
            break;
        }
    }
    return message.result;
}

void Deliver(QObject& receiver, PaneMessage& message)
{
    QCoreApplication::sendEvent(&receiver, &message);
}

} // namespace tolvar
