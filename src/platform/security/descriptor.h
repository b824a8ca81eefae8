#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/security/sid.h"
#include "platform/system/error.h"

namespace tolvar {

/// The parts of a self-relative security descriptor, as bytes that were checked to lie inside it (docs/hive-format.md,
/// Security descriptors).
struct DescriptorParts {
    std::uint16_t control = 0;
    std::span<const std::byte> owner; ///< a security identifier; empty where there is none, like all parts
    std::span<const std::byte> group;
    std::span<const std::byte> sacl;
    std::span<const std::byte> dacl;

    /// Errors: kInvalidSecurityDescriptor.
    [[nodiscard]] static Result<DescriptorParts> Parse(std::span<const std::byte> descriptor);
};

/// Whether the platform would take the descriptor: what DescriptorParts::Parse asks, every part at a multiple of 4, and
/// all entries of the lists whole, with the identifiers in those of the known types.
/// Errors: kInvalidSecurityDescriptor, with what is wrong as its context.
[[nodiscard]] Result<void> CheckDescriptor(std::span<const std::byte> descriptor);

/// A new self-relative descriptor with the parts that `information` asks for (the flags of RegGetKeySecurity).
/// Errors: kInvalidSecurityDescriptor.
[[nodiscard]] Result<std::vector<std::byte>> SelectSecurity(std::span<const std::byte> descriptor,
                                                            std::uint32_t information);

} // namespace tolvar
