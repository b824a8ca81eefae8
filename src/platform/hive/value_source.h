#pragma once

#include <algorithm>
#include <span>

#include "platform/hive/hive.h"

namespace tolvar {

/// The data of a value that is to be stored: bytes at hand, or in another hive, where they are never put together. Can
/// be read once.
class ValueSource {
public:
    explicit ValueSource(std::span<const std::byte> bytes) noexcept : m_piece(bytes), m_size(bytes.size()) {}
    ValueSource(const Hive& hive, DataView data) noexcept : m_hive(&hive), m_data(data), m_size(data.size) {}

    /// Bytes in all.
    [[nodiscard]] std::size_t Size() const noexcept { return m_size; }

    /// Fills `out` with the next bytes, of which there must be as many. Errors: those of the hive.
    [[nodiscard]] Result<void> Read(std::span<std::byte> out)
    {
        while (!out.empty()) {
            if (m_piece.empty()) {
                const Checked<std::span<const std::byte>> next = m_hive->NextPiece(m_data);
                if (!next || next->empty() || m_hive->IsUnreadable(*next)) {
                    return tl::unexpected(
                        m_hive->ToError(next ? HiveFault{Breach::kMediumFailed, m_data.listCell} : next.error()));
                }
                m_piece = *next;
            }
            const std::size_t part = std::min(out.size(), m_piece.size());
            std::ranges::copy(m_piece.first(part), out.begin());
            m_piece = m_piece.subspan(part);
            out = out.subspan(part);
        }
        return {};
    }

private:
    const Hive* m_hive = nullptr;
    DataView m_data;
    std::span<const std::byte> m_piece; ///< what is left of the one read last
    std::size_t m_size;
};

} // namespace tolvar
