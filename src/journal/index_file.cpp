#include "journal/index_file.h"

#include <cstdint>
#include <optional>

#include "journal/journal_record.h"
#include "journal/stamp.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kLongCount = 0xFFFF;
constexpr std::uint32_t kLongByte = 0xFF;
constexpr std::uint32_t kLongWord = 0xFFFF;
constexpr std::uint32_t kFirstLongWord = 0xFFFE; // from here on a length takes 32 bits

void Put(std::vector<std::byte>& out, std::uint64_t number, unsigned bytes)
{
    for (unsigned i = 0; i < bytes; ++i) {
        out.push_back(static_cast<std::byte>(number >> (8 * i)));
    }
}

void PutList(std::vector<std::byte>& out, const std::vector<std::string>& list)
{
    Put(out, list.size() < kLongCount ? list.size() : kLongCount, 2);
    if (list.size() >= kLongCount) {
        Put(out, list.size(), 4);
    }
    for (const std::string& text : list) {
        Put(out, text.size() < kLongByte ? text.size() : kLongByte, 1);
        if (text.size() >= kLongByte) {
            Put(out, text.size() < kFirstLongWord ? text.size() : kLongWord, 2);
        }
        if (text.size() >= kFirstLongWord) {
            Put(out, text.size(), 4);
        }
        const auto bytes = std::as_bytes(std::span(text));
        out.insert(out.end(), bytes.begin(), bytes.end());
    }
}

/// Reads the encoding front to back. Nothing is set aside by a count: only what is there takes memory.
class ListReader {
public:
    explicit ListReader(std::span<const std::byte> bytes) : m_rest(bytes) {}

    [[nodiscard]] bool IsAtEnd() const noexcept { return m_rest.empty(); }

    /// Appends the texts of the next list. False where it breaks off.
    [[nodiscard]] bool ReadList(std::vector<std::string>& list)
    {
        return VisitList([&list](std::string_view text) { list.emplace_back(text); });
    }

    template <class Visit>
    [[nodiscard]] bool VisitList(const Visit& visit)
    {
        std::optional<std::uint32_t> count = Number(2);
        if (count == kLongCount) {
            count = Number(4);
        }
        for (std::uint32_t left = count.value_or(0); left != 0; --left) {
            const std::optional<std::uint32_t> size = Length();
            if (!size || *size > m_rest.size()) {
                return false;
            }
            visit(std::string_view(reinterpret_cast<const char*>(m_rest.data()), *size));
            m_rest = m_rest.subspan(*size);
        }
        return count.has_value();
    }

private:
    std::optional<std::uint32_t> Number(unsigned bytes)
    {
        if (m_rest.size() < bytes) {
            m_rest = {};
            return std::nullopt;
        }
        std::uint32_t number = 0;
        for (unsigned i = 0; i < bytes; ++i) {
            number |= static_cast<std::uint32_t>(m_rest[i]) << (8 * i);
        }
        m_rest = m_rest.subspan(bytes);
        return number;
    }

    std::optional<std::uint32_t> Length()
    {
        std::optional<std::uint32_t> size = Number(1);
        if (size == kLongByte) {
            size = Number(2);
            if (size == kLongWord) {
                size = Number(4);
            }
        }
        return size;
    }

    std::span<const std::byte> m_rest;
};

} // namespace

std::vector<std::byte> EncodeIndex(const JournalIndex& index)
{
    std::vector<std::byte> out;
    PutList(out, index.bookmarkPaths);
    PutList(out, index.journal);
    PutList(out, index.bookmarkTargets);
    PutList(out, {});
    return out;
}

DecodedIndex DecodeIndex(std::span<const std::byte> bytes)
{
    DecodedIndex index;
    std::vector<std::string> reserved;
    ListReader reader(bytes);
    if (bytes.empty()) { // a first run that was not closed
        return index;
    }
    index.isWhole = reader.ReadList(index.lists.bookmarkPaths) && reader.ReadList(index.lists.journal) &&
                    reader.ReadList(index.lists.bookmarkTargets) && (reader.IsAtEnd() || reader.ReadList(reserved));
    return index;
}

IndexSummary SummarizeIndex(std::span<const std::byte> bytes)
{
    IndexSummary summary;
    if (bytes.empty()) {
        return summary;
    }
    std::string_view latest;
    const auto look = [&latest](std::string_view record) {
        const std::string_view stamp = StampOf(record);
        latest = stamp > latest && IsStamp(stamp) ? stamp : latest;
    };
    const auto pass = [](std::string_view) {};
    ListReader reader(bytes);
    summary.isWhole = reader.VisitList(pass) && reader.VisitList(look) && reader.VisitList(pass) &&
                      (reader.IsAtEnd() || reader.VisitList(pass));
    summary.latestStamp = latest;
    return summary;
}

std::vector<std::string> DecodeTextList(std::span<const std::byte> bytes)
{
    std::vector<std::string> list;
    static_cast<void>(ListReader(bytes).ReadList(list)); // as far as it goes
    return list;
}

} // namespace tolvar
