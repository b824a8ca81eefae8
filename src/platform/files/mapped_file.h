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

    /// A private copy to write in, which never reaches the file by itself: pages are copied as they are written.
    /// Address space for `room` bytes is reserved, so that Resize moves nothing. Errors as Open.
    [[nodiscard]] static Result<MappedFile> OpenPrivate(const std::filesystem::path& file, std::size_t room);

    /// The same over a copy of `bytes` in memory. Errors: kNotEnoughMemory.
    [[nodiscard]] static Result<MappedFile> CopyOf(std::span<const std::byte> bytes, std::size_t room);

    [[nodiscard]] std::span<const std::byte> Bytes() const noexcept;

    /// Bytes() for writing; empty for a map that Open made.
    [[nodiscard]] std::span<std::byte> Writable() noexcept;

    /// Makes Bytes() that long: what comes new is zero, what falls away is forgotten. Only for a private copy.
    /// Errors: kNotEnoughMemory beyond the reserved room; the bytes are then as they were.
    [[nodiscard]] Result<void> Resize(std::size_t size);

    /// Whether a page under `bytes`, a part of Bytes(), failed when it was read. Costs one load while nothing has
    /// failed.
    [[nodiscard]] bool Failed(std::span<const std::byte> bytes) const noexcept;

    /// Whether any page failed so far. Asked at every record, and so no call.
    [[nodiscard]] bool AnyFailed() const noexcept { return m_anyFailed->load(std::memory_order_acquire); }

private:
    struct Mapping;
    enum class Kind { kReadOnly, kPrivate };
    [[nodiscard]] static Result<MappedFile> Map(const std::filesystem::path& file, Kind kind, std::size_t room);
    struct Unmap {
        void operator()(Mapping* mapping) const noexcept;
    };
    static constexpr std::atomic<bool> kNothingFails{false};

    std::unique_ptr<Mapping, Unmap> m_mapping;
    const std::atomic<bool>* m_anyFailed = &kNothingFails; ///< lasts as long as the program, whoever uses it
};

} // namespace tolvar
