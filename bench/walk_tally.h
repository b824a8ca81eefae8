#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

namespace tolvar::bench {

/// What a walk over a hive read. Both walks keep it in the same way, so that they do the same work and can be compared.
class WalkTally {
public:
    void AddKey(std::span<const std::byte> name) noexcept
    {
        ++m_keys;
        m_names.Add(name);
    }

    void AddValue(std::span<const std::byte> name, std::uint32_t type) noexcept
    {
        ++m_values;
        m_names.Add(name);
        m_data.Add(type);
    }

    /// The data of the value told last: how much it is, and its two ends. Not called for a value without data.
    void AddData(std::uint64_t size, std::byte first, std::byte last) noexcept
    {
        m_bytes += size;
        m_data.Add(size << 16 | std::to_integer<std::uint64_t>(first) << 8 | std::to_integer<std::uint64_t>(last));
    }

    /// One line. The sum of the names depends on the form in which a library hands them out, the rest does not.
    void Print() const
    {
        std::printf("keys=%llu values=%llu bytes=%llu data=%016llx names=%016llx\n",
                    static_cast<unsigned long long>(m_keys), static_cast<unsigned long long>(m_values),
                    static_cast<unsigned long long>(m_bytes), static_cast<unsigned long long>(m_data.sum),
                    static_cast<unsigned long long>(m_names.sum));
    }

private:
    /// FNV-1a, but over words, since the walk is to be measured and not the hash.
    struct WordHash {
        std::uint64_t sum = 0xCBF29CE484222325;

        void Add(std::uint64_t word) noexcept { sum = (sum ^ word) * 0x100000001B3; }

        /// The last word of a long name overlaps the one before it, which is faster than a loop over what is left.
        void Add(std::span<const std::byte> bytes) noexcept
        {
            const std::byte* at = bytes.data();
            const std::size_t size = bytes.size();
            if (size >= 8) {
                for (std::size_t i = 0; i + 8 < size; i += 8) {
                    Add(Load<std::uint64_t>(at + i));
                }
                Add(Load<std::uint64_t>(at + size - 8));
            } else if (size >= 4) {
                Add(std::uint64_t{Load<std::uint32_t>(at)} << 32 | Load<std::uint32_t>(at + size - 4));
            } else if (size != 0) {
                Add(std::to_integer<std::uint64_t>(at[0]) << 16 | std::to_integer<std::uint64_t>(at[size / 2]) << 8 |
                    std::to_integer<std::uint64_t>(at[size - 1]));
            }
            Add(size);
        }

        template <class T>
        static T Load(const std::byte* at) noexcept
        {
            T value;
            std::memcpy(&value, at, sizeof value);
            return value;
        }
    };

    std::uint64_t m_keys = 0;
    std::uint64_t m_values = 0;
    std::uint64_t m_bytes = 0;
    WordHash m_names;
    WordHash m_data;
};

} // namespace tolvar::bench
