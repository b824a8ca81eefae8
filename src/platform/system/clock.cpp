#include "platform/system/clock.h"

#include <chrono>

namespace tolvar {

const Clock& SystemClock()
{
    class RealClock final : public Clock {
    public:
        std::uint64_t Now() const override
        {
            constexpr std::uint64_t kTicksTo1970 = 116'444'736'000'000'000;
            const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
            return kTicksTo1970 + static_cast<std::uint64_t>(
                                      std::chrono::duration_cast<std::chrono::nanoseconds>(since1970).count() / 100);
        }
    };
    static const RealClock clock;
    return clock;
}

} // namespace tolvar
