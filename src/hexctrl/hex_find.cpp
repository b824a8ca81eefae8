#include "hexctrl/hex_find.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tolvar {

namespace {

constexpr std::size_t kBlock = std::size_t{256} * 1024;

std::uint8_t Lower(std::uint8_t byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<std::uint8_t>(byte + ('a' - 'A')) : byte;
}

std::uint8_t Upper(std::uint8_t byte)
{
    return byte >= 'a' && byte <= 'z' ? static_cast<std::uint8_t>(byte - ('a' - 'A')) : byte;
}

bool MatchesAt(const std::uint8_t* at, const HexPattern& pattern)
{
    std::size_t offset = 0;
    for (const std::size_t size : pattern.letters) {
        if (std::memcmp(at + offset, pattern.bytes.data() + offset, size) != 0 &&
            std::memcmp(at + offset, pattern.otherCase.data() + offset, size) != 0) {
            return false;
        }
        offset += size;
    }
    return true;
}

/// Which byte of an exact pattern to look for first: the one that a sample of the data has least of.
std::size_t RarestByte(std::span<const std::uint8_t> data, const HexPattern& pattern)
{
    constexpr std::size_t kSamples = 1024;
    std::array<unsigned, 256> counts{};
    const std::size_t stride = data.size() / kSamples + 1;
    for (std::size_t offset = 0; offset < data.size(); offset += stride) {
        ++counts[data[offset]];
    }
    const auto rarest = std::ranges::min_element(pattern.bytes, {}, [&](std::uint8_t byte) { return counts[byte]; });
    return static_cast<std::size_t>(rarest - pattern.bytes.begin());
}

/// The first exact match that lies wholly in `hay`, by the byte of the pattern at `anchor`. Where that byte turns up
/// too often after all, a search whose time is bounded by the size alone takes over.
std::optional<std::size_t> ScanExact(std::span<const std::uint8_t> hay, const HexPattern& pattern, std::size_t anchor)
{
    const std::size_t length = pattern.bytes.size();
    const std::size_t end = hay.size() - length + 1;
    std::size_t misses = 0;
    for (std::size_t start = 0; start < end; ++start) {
        const void* found = std::memchr(hay.data() + start + anchor, pattern.bytes[anchor], end - start);
        if (found == nullptr) {
            return std::nullopt;
        }
        start = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - hay.data()) - anchor;
        if (std::memcmp(hay.data() + start, pattern.bytes.data(), length) == 0) {
            return start;
        }
        if (++misses > 16 + start / 32) {
            const void* hit = memmem(hay.data() + start, hay.size() - start, pattern.bytes.data(), length);
            return hit == nullptr
                       ? std::nullopt
                       : std::optional(static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - hay.data()));
        }
    }
    return std::nullopt;
}

/// The first match that lies wholly in `hay`.
std::optional<std::size_t> Scan(std::span<const std::uint8_t> hay, const HexPattern& pattern, std::size_t anchor)
{
    const std::size_t length = pattern.bytes.size();
    if (hay.size() < length) {
        return std::nullopt;
    }
    if (pattern.otherCase.empty()) {
        return ScanExact(hay, pattern, anchor);
    }
    const std::uint8_t first = pattern.bytes[0];
    const std::uint8_t other = pattern.otherCase[0];
    for (std::size_t offset = 0; offset + length <= hay.size(); ++offset) {
        if ((hay[offset] == first || hay[offset] == other) && MatchesAt(hay.data() + offset, pattern)) {
            return offset;
        }
    }
    return std::nullopt;
}

/// A copy of the bytes at `offset`, so that a match across two chunks is seen like any other.
std::span<const std::uint8_t> Window(const ByteStore& bytes, std::uint64_t offset, std::uint64_t size,
                                     std::vector<std::uint8_t>& buffer)
{
    buffer.resize(static_cast<std::size_t>(size));
    return std::span(buffer).first(bytes.Read(offset, buffer));
}

} // namespace

HexPattern HexPattern::Exact(std::span<const std::uint8_t> bytes)
{
    return {{bytes.begin(), bytes.end()}, {}, {}};
}

HexPattern HexPattern::ByMode(std::span<const std::uint8_t> bytes, std::uint32_t mode)
{
    if ((mode & HexFindMode::kExactBit) != 0) {
        return Exact(bytes);
    }
    if (mode != HexFindMode::kTextNoCase && mode != HexFindMode::kWideTextNoCase) {
        return {};
    }
    HexPattern pattern;
    const std::size_t size = mode == HexFindMode::kTextNoCase ? 1 : 2;
    for (std::size_t offset = 0; offset + size <= bytes.size(); offset += size) {
        const auto unit = bytes.subspan(offset, size);
        pattern.letters.push_back(size);
        const bool isAscii = unit.size() == 1 || unit[1] == 0;
        for (const std::uint8_t byte : unit) {
            pattern.bytes.push_back(isAscii ? Lower(byte) : byte);
            pattern.otherCase.push_back(isAscii ? Upper(byte) : byte);
        }
        if (std::ranges::all_of(unit, [](std::uint8_t byte) { return byte == 0; })) {
            break;
        }
    }
    return pattern;
}

std::optional<std::uint64_t> FindForward(const ByteStore& bytes, const HexPattern& pattern, std::uint64_t from,
                                         std::uint64_t end, const HexFindProgress& progress, std::size_t step)
{
    const std::size_t length = pattern.bytes.size();
    end = std::min(end, bytes.Size());
    if (length == 0 || from > end || end - from < length) {
        return std::nullopt;
    }
    const std::uint64_t behindLast = end - length + 1;
    std::vector<std::uint8_t> buffer;
    for (std::uint64_t block = from; block < behindLast; block += kBlock) {
        const std::uint64_t positions = std::min<std::uint64_t>(kBlock, behindLast - block);
        const auto window = Window(bytes, block, positions + length - 1, buffer);
        const std::size_t anchor = RarestByte(window, pattern);
        for (std::size_t done = 0; done < positions; done += step) {
            const std::size_t count = std::min<std::size_t>(step, static_cast<std::size_t>(positions) - done);
            if (const auto hit = Scan(window.subspan(done, count + length - 1), pattern, anchor)) {
                return block + done + *hit;
            }
            if (progress && progress(block - from + done + count)) {
                return std::nullopt;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> FindBackward(const ByteStore& bytes, const HexPattern& pattern, std::uint64_t before)
{
    const std::size_t length = pattern.bytes.size();
    if (length == 0) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> buffer;
    for (std::uint64_t end = std::min(before, bytes.Size()); end > 0;) {
        const std::uint64_t start = end - std::min<std::uint64_t>(end, kBlock);
        auto window = Window(bytes, start, end - start + length - 1, buffer);
        const std::size_t anchor = RarestByte(window, pattern);
        std::optional<std::uint64_t> last;
        std::uint64_t offset = start;
        while (const auto hit = Scan(window, pattern, anchor)) {
            last = offset + *hit;
            offset = *last + 1;
            window = window.subspan(*hit + 1);
        }
        if (last) {
            return last;
        }
        end = start;
    }
    return std::nullopt;
}

void HexSearch::Start(const HexFindBlock& block, std::int64_t baseAddress)
{
    m_pattern = block.pattern == nullptr ? HexPattern{}
                                         : HexPattern::ByMode(std::span(block.pattern, block.length), block.mode);
    // Unsigned, so that no address that a host thinks of overflows.
    const auto from = static_cast<std::uint64_t>(block.from);
    const auto to = static_cast<std::uint64_t>(block.to);
    const auto base = static_cast<std::uint64_t>(baseAddress);
    if (block.from >= baseAddress) {
        m_nFrom = from - base;
        m_nEnd = block.to > baseAddress ? to - base : 0;
    } else {
        m_nFrom = 0;
        m_nEnd = block.to > block.from ? to - from : 0;
    }
    m_nNext = m_nFrom;
    m_nLength = block.length;
    m_nBase = baseAddress;
}

bool HexSearch::Next(const ByteStore& bytes, const Progress& progress)
{
    const std::uint64_t end = std::min(m_nEnd, bytes.Size());
    if (end < m_nLength || m_nNext > end - m_nLength) {
        return false;
    }
    const std::uint64_t range = end - m_nFrom;
    const HexFindProgress report = [&](std::uint64_t done) {
        return progress && progress(static_cast<unsigned>(100.0 * static_cast<double>(m_nNext - m_nFrom + done) /
                                                          static_cast<double>(range)));
    };
    const std::uint64_t comparedEnd = end - m_nLength + m_pattern.bytes.size();
    const auto hit = FindForward(bytes, m_pattern, m_nNext, comparedEnd, report, kStep);
    if (!hit) {
        return false;
    }
    m_nPosition = static_cast<std::int64_t>(static_cast<std::uint64_t>(m_nBase) + *hit);
    m_nNext = *hit + 1;
    return true;
}

} // namespace tolvar
