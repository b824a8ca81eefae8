#pragma once

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "hexctrl/hex_data.h"

namespace tolvar {

using Bytes = std::vector<std::uint8_t>;

inline Bytes BytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

inline CHexData& Loaded(CHexData& data, std::string_view text, std::int64_t base = 0)
{
    Bytes bytes = BytesOf(text);
    EXPECT_EQ(data.Load({static_cast<std::int64_t>(bytes.size()), 0, base, bytes.data()}), HexCode::kSuccess);
    return data;
}

inline std::string Text(const CHexData& data)
{
    const Bytes bytes = data.Bytes();
    return {bytes.begin(), bytes.end()};
}

inline HexSelection Marked(HexZone zone, std::int64_t start, std::int64_t end)
{
    return {static_cast<std::int64_t>(zone), start, end};
}

/// Memory that ends when it is told to.
class ScarceMemory final : public std::pmr::memory_resource {
public:
    long allocationsLeft = -1; ///< below 0: as many as one likes

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override
    {
        if (allocationsLeft == 0) {
            throw std::bad_alloc();
        }
        --allocationsLeft;
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override
    {
        std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
};

} // namespace tolvar
