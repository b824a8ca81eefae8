#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tolvar::fuzz {

/// A row of numbers that is the same on every machine for the same seed.
class Dice {
public:
    explicit Dice(std::uint64_t seed) noexcept : m_state(seed) {}

    [[nodiscard]] std::uint64_t Next() noexcept
    {
        // SplitMix64
        m_state += 0x9E3779B97F4A7C15;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }

    /// A number from 0 to `bound` - 1; `bound` is not 0.
    [[nodiscard]] std::size_t Below(std::size_t bound) noexcept { return static_cast<std::size_t>(Next() % bound); }

private:
    std::uint64_t m_state;
};

/// Breaks a hive in one to four places that a reader looks at: offsets turned to other cells, counts and sizes to their
/// limits, cells freed, grown and exchanged, records of one kind made another, the file cut short. Never makes the file
/// longer. Whatever is no hive gets bytes changed at random.
void MutateHive(std::vector<std::byte>& file, Dice& dice);

} // namespace tolvar::fuzz
