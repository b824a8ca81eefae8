#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

#include "platform/system/error.h"

namespace tolvar {

/// A file mapped for reading that can't end the program. Where the medium fails or the file is cut short while it is
/// mapped, the pages there turn into zeros and are remembered: Failed tells, and the reader answers an error.
///
/// The first map of a process installs a handler for the bus error that the system raises then; it passes on whatever
/// does not belong to a map of this class.
class MappedFile {
public:
    MappedFile() = default;

    /// Errors: the system's code; kDirectory for a folder.
    [[nodiscard]] static Result<MappedFile> Open(const std::filesystem::path& file);

    [[nodiscard]] std::span<const std::byte> Bytes() const noexcept;

    /// Whether a page under `bytes`, a part of Bytes(), failed when it was read. Costs one load while nothing has
    /// failed.
    [[nodiscard]] bool Failed(std::span<const std::byte> bytes) const noexcept;

    /// Whether any page failed so far.
    [[nodiscard]] bool AnyFailed() const noexcept;

private:
    struct Mapping;
    struct Unmap {
        void operator()(Mapping* mapping) const noexcept;
    };
    std::unique_ptr<Mapping, Unmap> m_mapping;
};

} // namespace tolvar
