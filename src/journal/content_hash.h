#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tolvar {

/// A sum of bytes that come in pieces, eight of them a step. It finds what broke by accident; it is no seal against
/// forgers.
class ContentHash {
public:
    void Add(std::span<const std::byte> bytes) noexcept
    {
        m_size += bytes.size();
        while (!bytes.empty()) {
            for (; m_held == 0 && bytes.size() >= sizeof m_word; bytes = bytes.subspan(sizeof m_word)) {
                std::uint64_t word = 0;
                std::memcpy(&word, bytes.data(), sizeof word);
                Step(word);
            }
            const std::size_t taken = std::min(sizeof m_word - m_held, bytes.size());
            std::memcpy(reinterpret_cast<std::byte*>(&m_word) + m_held, bytes.data(), taken);
            m_held += taken;
            bytes = bytes.subspan(taken);
            if (m_held == sizeof m_word) {
                Step(m_word);
                m_word = 0;
                m_held = 0;
            }
        }
    }

    [[nodiscard]] std::uint64_t Size() const noexcept { return m_size; }
    [[nodiscard]] std::uint64_t Value() const noexcept
    {
        ContentHash last = *this;
        last.Step(m_word);
        last.Step(m_size);
        last.Step(last.m_hash >> 32U); // the upper half into the lower one
        return last.m_hash;
    }

    [[nodiscard]] static std::uint64_t Of(std::span<const std::byte> bytes) noexcept
    {
        ContentHash hash;
        hash.Add(bytes);
        return hash.Value();
    }

private:
    void Step(std::uint64_t word) noexcept
    {
        constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15;
        m_hash = (m_hash ^ word) * kPrime;
        m_hash ^= m_hash >> 29U;
    }

    std::uint64_t m_hash = 0x243F6A8885A308D3;
    std::uint64_t m_word = 0; ///< the bytes that no step took yet
    std::size_t m_held = 0;
    std::uint64_t m_size = 0;
};

} // namespace tolvar
