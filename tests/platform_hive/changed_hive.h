#pragma once

#include <string>
#include <vector>

#include "fixtures/hive_builder.h"
#include "platform/hive/hive_writer.h"

namespace tolvar::fixtures {

class FixedClock final : public Clock {
public:
    std::uint64_t now = 1'000;
    std::uint64_t Now() const override { return now; }
};

/// A hive in memory with all that changes it.
struct ChangedHive {
    static constexpr std::size_t kRoom = std::size_t{256} << 20;

    explicit ChangedHive(const std::vector<std::byte>& file)
        : hive(Hive::FromCopy(MappedFile::CopyOf(file, kRoom).value(), "test").value())
    {}
    explicit ChangedHive(std::uint32_t minor = 5)
        : ChangedHive(HiveBuilder(minor, minor < 5 ? LeafKind::kHints : LeafKind::kHashes).Build({.name = u"ROOT"}))
    {}

    CellOffset Find(std::u16string_view name) { return *hive.FindSubkey(*hive.Key(hive.Root()), name); }

    FixedClock clock;
    Hive hive;
    HiveEditor editor{hive};
    HiveWriter writer{editor, clock};
};

/// Names of equal length, in the order of their numbers.
[[nodiscard]] inline std::u16string Numbered(unsigned number)
{
    const std::string digits = std::to_string(1'000'000 + number);
    return u"Key" + std::u16string(digits.begin(), digits.end());
}

} // namespace tolvar::fixtures
