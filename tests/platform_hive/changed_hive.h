#pragma once

#include <string>
#include <vector>

#include "platform/hive/scratch_hive.h"

namespace tolvar::fixtures {

class FixedClock final : public Clock {
public:
    std::uint64_t now = 1'000;
    std::uint64_t Now() const override { return now; }
};

/// A hive that a test changes, with a clock that stands.
struct ChangedHive {
    explicit ChangedHive(std::span<const std::byte> file)
        : m_scratch(ScratchHive::Make(file, std::size_t{256} << 20, "test", clock).value())
    {}
    explicit ChangedHive(std::uint32_t minor = 5) : ChangedHive(EmptyHive(u"ROOT", 1, minor)) {}

    CellOffset Find(std::u16string_view name) { return *hive.FindSubkey(*hive.Key(hive.Root()), name); }

    FixedClock clock;

private:
    std::unique_ptr<ScratchHive> m_scratch;

public:
    const Hive& hive = m_scratch->hive;
    HiveEditor& editor = m_scratch->editor;
    HiveWriter& writer = m_scratch->writer;
};

/// Names of equal length, in the order of their numbers.
[[nodiscard]] inline std::u16string Numbered(unsigned number)
{
    const std::string digits = std::to_string(1'000'000 + number);
    return u"Key" + std::u16string(digits.begin(), digits.end());
}

} // namespace tolvar::fixtures
