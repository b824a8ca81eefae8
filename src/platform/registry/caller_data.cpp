#include "platform/registry/caller_data.h"

#include <algorithm>
#include <cstring>

#include "platform/system/text.h"

namespace tolvar {

namespace {

/// Turns UTF-16LE that comes in pieces into UTF-8, which is counted, and stored as long as there is room.
class TextWriter {
public:
    explicit TextWriter(std::span<std::byte> room) : m_room(room) {}

    void Put(std::span<const std::byte> piece)
    {
        constexpr std::size_t kBlock = 4096; // bytes: however large the value is, no more of it is held
        while (piece.size() > 1) {
            const std::size_t size = std::min(piece.size(), kBlock) / 2 * 2;
            const std::size_t held = m_units.size();
            m_units.resize(held + size / 2);
            std::memcpy(m_units.data() + held, piece.data(), size);
            piece = piece.subspan(size);
            // The second half of a pair may lie in the next piece.
            const bool isHalf = m_units.back() >= 0xD800 && m_units.back() <= 0xDBFF;
            Convert(m_units.size() - (isHalf ? 1 : 0));
        }
    }

    /// How many bytes the text takes.
    [[nodiscard]] std::size_t Finish()
    {
        Convert(m_units.size());
        return m_size;
    }

private:
    void Convert(std::size_t count)
    {
        const std::u16string_view units = std::u16string_view(m_units).substr(0, count);
        if (m_room.empty()) {
            m_size += Utf8Size(units);
            m_units.erase(0, count);
            return;
        }
        m_text.clear();
        AppendUtf8(m_text, units, NulForm::kPlain);
        m_units.erase(0, count);
        const std::size_t fits = std::min(m_text.size(), m_room.size());
        std::ranges::copy(std::as_bytes(std::span(m_text)).first(fits), m_room.begin());
        m_room = m_room.subspan(fits);
        m_size += m_text.size();
    }

    std::span<std::byte> m_room; ///< what is left of it
    std::u16string m_units;
    std::string m_text;
    std::size_t m_size = 0;
};

/// Hands every piece of the data to `put`.
template <class Put>
Checked<void> ForEachPiece(const Hive& hive, const ValueRecord& value, DataView data, Put&& put)
{
    while (true) {
        const Checked<std::span<const std::byte>> piece = hive.NextPiece(data);
        if (!piece) {
            return tl::unexpected(piece.error());
        }
        if (piece->empty()) {
            return {};
        }
        put(*piece);
        if (hive.MediumFailed(*piece)) {
            return Fault(Breach::kMediumFailed, value.offset);
        }
    }
}

} // namespace

Checked<std::size_t> DataForCaller(const Hive& hive, const ValueRecord& value, std::span<std::byte> room)
{
    const Checked<DataView> data = hive.Data(value);
    if (!data) {
        return tl::unexpected(data.error());
    }
    Checked<void> read;
    if (IsTextType(value.type)) {
        TextWriter text(room);
        read = ForEachPiece(hive, value, *data, [&](std::span<const std::byte> piece) { text.Put(piece); });
        return read ? Checked<std::size_t>(text.Finish()) : tl::unexpected(read.error());
    }
    if (!room.empty()) {
        read = ForEachPiece(hive, value, *data, [&](std::span<const std::byte> piece) {
            const std::size_t fits = std::min(piece.size(), room.size());
            std::ranges::copy(piece.first(fits), room.begin());
            room = room.subspan(fits);
        });
    }
    return read ? Checked<std::size_t>(value.size) : tl::unexpected(read.error());
}

std::optional<std::vector<std::byte>> DataFromCaller(DWORD type, std::span<const BYTE> data)
{
    const auto bytes = std::as_bytes(data);
    if (!IsTextType(type) || data.empty()) {
        return std::vector<std::byte>(bytes.begin(), bytes.end());
    }
    std::optional<std::u16string> units = ToUtf16({reinterpret_cast<const char*>(data.data()), data.size()});
    if (!units) {
        return std::nullopt;
    }
    if (units->back() != u'\0') {
        units->push_back(u'\0');
    }
    const bool isEmptyList = units->size() == 1;
    if (type == REG_MULTI_SZ && !isEmptyList && (*units)[units->size() - 2] != u'\0') {
        units->push_back(u'\0');
    }
    const auto stored = std::as_bytes(std::span(*units));
    return std::vector<std::byte>(stored.begin(), stored.end());
}

} // namespace tolvar
