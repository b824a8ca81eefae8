#include "platform/registry/value_cursor.h"

#include "platform/registry/caller_data.h"

namespace tolvar {

std::optional<KeyFault> ValueCursor::CheckData() const noexcept
{
    const Checked<void> pieces = m_hive->CheckPieces(*m_data);
    return pieces ? std::nullopt : std::optional(KeyFault(*m_hive, pieces.error()));
}

tl::expected<std::vector<std::byte>, KeyFault> ValueCursor::StoredData() const
{
    Checked<std::vector<std::byte>> data = m_hive->ReadData(*m_record);
    if (!data) {
        return tl::unexpected(KeyFault(*m_hive, data.error()));
    }
    return *std::move(data);
}

std::optional<KeyFault> ValueCursor::ReadForCaller(std::vector<std::uint8_t>& data) const
{
    constexpr std::size_t kMaxUtf8 = 3; // bytes that one unit takes at most
    data.resize(IsTextType(Type()) ? kMaxUtf8 * (Size() / 2) : Size());
    const Checked<std::size_t> size = DataForCaller(*m_hive, *m_record, std::as_writable_bytes(std::span(data)));
    if (!size) {
        return KeyFault(*m_hive, size.error());
    }
    data.resize(*size);
    return std::nullopt;
}

} // namespace tolvar
