#pragma once

#include <cstdint>

namespace tolvar {

/// Where times come from.
class Clock {
public:
    virtual ~Clock() = default;

    /// Now, in 100 ns since 1601-01-01 UTC.
    [[nodiscard]] virtual std::uint64_t Now() const = 0;
};

/// The clock of this system.
[[nodiscard]] const Clock& SystemClock();

} // namespace tolvar
