#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace tolvar::fuzz {

/// Thrown where the reader breaks a promise of its headers. Nothing catches it in a fuzz target, so that it ends there
/// as a crash.
class BrokenPromise : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// What reading a hive met.
struct Reading {
    bool isOpen = false;
    std::uint64_t keys = 0;
    std::uint64_t values = 0;
    std::uint64_t dataBytes = 0;
    std::uint64_t faults = 0; ///< of the walk
    std::uint64_t errors = 0; ///< of the validator
    std::uint64_t lookups = 0;
};

/// `input` as a file that gets as far as the first hive bin: padded, with the right signature, version, length and
/// checksum. One input in sixteen only gets its checksum, and one in sixteen nothing at all; which one it is stands in
/// the last byte of the base block, so that a fuzzer can change its mind.
[[nodiscard]] std::vector<std::byte> ShapeFile(std::span<const std::byte> input);

/// Opens `file` as a hive, and reads, looks up and validates everything in it.
/// Throws BrokenPromise where an answer can't be right.
Reading ReadHiveFile(std::span<const std::byte> file);

} // namespace tolvar::fuzz
