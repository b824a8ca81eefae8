#include "ui/event_sound.h"

#include <memory>

#include <canberra.h>

namespace tolvar {

void PlayEventSound(const char* eventId)
{
    struct Destroy {
        void operator()(ca_context* context) const { ca_context_destroy(context); }
    };
    static const std::unique_ptr<ca_context, Destroy> context = [] {
        ca_context* made = nullptr;
        return std::unique_ptr<ca_context, Destroy>(ca_context_create(&made) == CA_SUCCESS ? made : nullptr);
    }();
    if (context) {
        ca_context_play(context.get(), 0, CA_PROP_EVENT_ID, eventId, nullptr);
    }
}

} // namespace tolvar
