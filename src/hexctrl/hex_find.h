#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "hexctrl/byte_store.h"
#include "hexctrl/hex_types.h"

namespace tolvar {

/// How HexFindBlock::mode compares. Any other number finds nothing.
namespace HexFindMode {
inline constexpr std::uint32_t kExactBit = 1;       ///< byte for byte, whatever the other bits say
inline constexpr std::uint32_t kTextNoCase = 2;     ///< bytes as characters, A to Z without regard to case
inline constexpr std::uint32_t kWideTextNoCase = 6; ///< the same with 16-bit characters, at every byte offset
} // namespace HexFindMode

/// What to look for: bytes, and for a search without regard to case the same text in its other case. Each letter
/// matches as a whole, by one of the two.
struct HexPattern {
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> otherCase; ///< as long as `bytes`, or empty: byte for byte
    std::vector<std::size_t> letters; ///< bytes of each letter, which together are all bytes; unused without otherCase

    static HexPattern Exact(std::span<const std::uint8_t> bytes);
    /// By a mode of HexFindBlock. Text ends after its first NUL. Empty for an unknown mode.
    static HexPattern ByMode(std::span<const std::uint8_t> bytes, std::uint32_t mode);
};

/// Told how many positions of the range are done; true ends the search.
using HexFindProgress = std::function<bool(std::uint64_t done)>;

inline constexpr std::size_t kHexFindStep = std::size_t{64} * 1024; ///< positions between two reports

/// The first offset from `from` on at which `pattern` lies wholly before `end`; none too where `progress` ends the
/// search, and for an empty pattern.
std::optional<std::uint64_t> FindForward(const ByteStore& bytes, const HexPattern& pattern, std::uint64_t from,
                                         std::uint64_t end, const HexFindProgress& progress = {},
                                         std::size_t step = kHexFindStep);

/// The last offset below `before` at which `pattern` lies, wholly inside the data.
std::optional<std::uint64_t> FindBackward(const ByteStore& bytes, const HexPattern& pattern, std::uint64_t before);

/// The search that goes on from hit to hit.
class HexSearch {
public:
    /// Returns progress in percent of the range; true ends the search as if nothing had been found.
    using Progress = std::function<bool(unsigned percent)>;

    /// Takes a copy of the pattern and the range. A range below `baseAddress` starts there and keeps its length.
    void Start(const HexFindBlock& block, std::int64_t baseAddress);

    /// The address of the next hit. It stays in Position until the next call.
    bool Next(const ByteStore& bytes, const Progress& progress);

    [[nodiscard]] const std::int64_t& Position() const { return m_nPosition; }

private:
    static constexpr std::size_t kStep = 100; ///< positions between two reports, which hosts rely on

    HexPattern m_pattern;
    std::uint64_t m_nFrom = 0; ///< offset of the range
    std::uint64_t m_nNext = 0;
    std::uint64_t m_nEnd = 0;
    std::uint64_t m_nLength = 0; ///< of the pattern as given, which shortens the range also where text ends before it
    std::int64_t m_nBase = 0;
    std::int64_t m_nPosition = 0;
};

} // namespace tolvar
