#pragma once

#include <memory>

#include <QEvent>

#include "hexctrl/hex_messages.h"
#include "hexctrl/hex_types.h"

namespace tolvar {

/// What the addresses in notifications point to. The control and every notification on its way own it together, so an
/// address is good for as long as the notification is handled, also where the control is gone by then.
struct HexAnswers {
    HexSelection selection;
    std::int64_t topOffset = 0;
    std::uint32_t bytesInView = 0;
    std::int64_t found = 0;
    std::int64_t hoverOffset = 0;
    std::uint8_t hoverByte = 0;
};

/// One notification of a hex control to its host, which takes it in QObject::event: see HexNotice for the parameters.
class HexNotification final : public QEvent {
public:
    HexNotification(HexNotice what, quintptr first, quintptr second, std::shared_ptr<const HexAnswers> pAnswers)
        : QEvent(EventType()), notice(what), wParam(first), lParam(second), m_pAnswers(std::move(pAnswers))
    {}

    [[nodiscard]] static QEvent::Type EventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    const HexNotice notice;
    const quintptr wParam;
    const quintptr lParam;
    qintptr result = 0; ///< of one that is sent

private:
    std::shared_ptr<const HexAnswers> m_pAnswers;
};

} // namespace tolvar
