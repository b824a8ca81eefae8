#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/system/error.h"

namespace tolvar {

/// A security identifier: who owns a key, or whom a right is for (docs/hive-format.md, Security identifiers).
struct Sid {
    std::uint64_t authority = 0; ///< 48 bits
    std::vector<std::uint32_t> subAuthorities;

    /// Takes the identifier at the start of `bytes` apart. Errors: kInvalidSid.
    [[nodiscard]] static Result<Sid> Parse(std::span<const std::byte> bytes);

    /// Bytes that it takes when stored.
    [[nodiscard]] std::size_t StoredSize() const noexcept { return 8 + 4 * subAuthorities.size(); }

    /// The form "S-1-5-32-544".
    [[nodiscard]] std::string ToText() const;

    bool operator==(const Sid&) const = default;
};

/// The account's name: that of a well-known identifier. The accounts of an offline machine can't be asked, so that any
/// other identifier answers its text form, which still tells one account from another.
[[nodiscard]] std::string LookupAccountSid(const Sid& sid);

} // namespace tolvar
