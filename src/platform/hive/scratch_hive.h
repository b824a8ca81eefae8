#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/hive/hive_writer.h"

namespace tolvar {

/// The file of a new hive of version 1.`minor` with nothing but its root key, which Administrators own and everyone may
/// read.
[[nodiscard]] std::vector<std::byte> EmptyHive(std::u16string_view rootName, std::uint64_t time,
                                               std::uint32_t minor = 5);

/// A hive in memory with all that changes it, for what is put together or tried and belongs to no file.
class ScratchHive {
public:
    /// The hive in `file`. It may grow to `room` bytes; `clock` outlives this. Errors: as Hive::Open, under `name`;
    /// kNotEnoughMemory.
    [[nodiscard]] static Result<std::unique_ptr<ScratchHive>> Make(std::span<const std::byte> file, std::size_t room,
                                                                   const std::string& name, const Clock& clock);

    Hive hive;
    HiveEditor editor{hive};
    HiveWriter writer;

private:
    ScratchHive(Hive made, const Clock& clock) : hive(std::move(made)), writer(editor, clock) {}
};

} // namespace tolvar
