#include "hexctrl/hex_dump.h"

#include <algorithm>

namespace tolvar {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::string_view kLowerDigits = "0123456789abcdef";
constexpr std::uint8_t kFirstPrintable = 0x20;

std::optional<unsigned> DigitOf(char character)
{
    for (const std::string_view digits : {kDigits, kLowerDigits}) {
        if (const auto at = digits.find(character); at != std::string_view::npos) {
            return static_cast<unsigned>(at);
        }
    }
    return std::nullopt;
}

} // namespace

std::string HexAddress(std::uint64_t address, int digits)
{
    std::string text;
    for (; address != 0 || static_cast<int>(text.size()) < digits; address >>= 4) {
        text += kDigits[address & 0xF];
    }
    std::ranges::reverse(text);
    return text;
}

std::string HexPair(std::uint8_t byte)
{
    return {kDigits[byte >> 4], kDigits[byte & 0xF]};
}

std::string HexPairs(std::span<const std::uint8_t> bytes)
{
    std::string text;
    text.reserve(3 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += kLowerDigits[byte >> 4];
        text += kLowerDigits[byte & 0xF];
        text += ' ';
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> BytesOfHexText(std::string_view text)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            ++at;
            continue;
        }
        const auto high = DigitOf(text[at]);
        const auto low = at + 1 < text.size() ? DigitOf(text[at + 1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
        at += 2;
    }
    return bytes;
}

std::string HexDump(const CHexData& data, int bytesPerRow, int addressDigits, std::int64_t position, std::int64_t size,
                    unsigned parts)
{
    const std::int64_t from = std::clamp<std::int64_t>(position, 0, data.Size());
    const std::int64_t end = from + std::clamp<std::int64_t>(size, 0, data.Size() - from);
    std::string text;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(bytesPerRow));
    for (std::int64_t first = from - from % bytesPerRow; first <= end; first += bytesPerRow) {
        data.Read(first, row);
        const auto isInside = [&](int byte) { return first + byte >= from && first + byte < end; };
        text +=
            HexAddress(static_cast<std::uint64_t>(data.baseAddress) + static_cast<std::uint64_t>(first), addressDigits);
        text += "  ";
        for (int byte = 0; (parts & HexDumpPart::kHex) != 0 && byte < bytesPerRow; ++byte) {
            text += isInside(byte) ? HexPair(row[static_cast<std::size_t>(byte)]) + ' ' : "   ";
        }
        text += ' ';
        for (int byte = 0; (parts & HexDumpPart::kText) != 0 && byte < bytesPerRow; ++byte) {
            const std::uint8_t value = row[static_cast<std::size_t>(byte)];
            const char shown = value < kFirstPrintable ? '.' : static_cast<char>(value);
            text += isInside(byte) ? shown : ' ';
        }
        text += '\n';
    }
    return text;
}

} // namespace tolvar
