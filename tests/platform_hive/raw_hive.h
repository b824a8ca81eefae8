#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "fixtures/hive_builder.h"

namespace tolvar::fixtures {

/// Puts records together freely, for hives that lie about themselves: every offset and count is the test's own.
/// All cells lie in one bin.
class RawHive {
public:
    static constexpr std::uint32_t kNil = 0xFFFFFFFF;

    struct Key {
        std::string_view name = "k"; ///< stored as Latin-1
        std::uint32_t subkeys = 0;
        std::uint32_t subkeyList = kNil;
        std::uint32_t values = 0;
        std::uint32_t valueList = kNil;
        std::uint32_t classCell = kNil;
        std::uint16_t classLength = 0;
    };

    RawHive() : m_file(4096 + 32) {}

    /// A new cell of zeros; its offset.
    std::uint32_t Allocate(std::size_t payload)
    {
        const auto cell = static_cast<std::uint32_t>(m_file.size() - 4096);
        const std::size_t size = (payload + 4 + 7) / 8 * 8;
        m_file.resize(m_file.size() + size);
        Put(cell, -4, 0U - static_cast<std::uint32_t>(size));
        return cell;
    }
    /// Stores a field at `at` bytes into the payload of `cell`.
    template <class T>
    void Put(std::uint32_t cell, std::ptrdiff_t at, T value)
    {
        std::memcpy(m_file.data() + 4096 + cell + 4 + at, &value, sizeof value);
    }
    void PutText(std::uint32_t cell, std::ptrdiff_t at, std::string_view text)
    {
        std::memcpy(m_file.data() + 4096 + cell + 4 + at, text.data(), text.size());
    }

    std::uint32_t AddKey(const Key& key)
    {
        const std::uint32_t cell = Allocate(76 + key.name.size());
        SetKey(cell, key);
        return cell;
    }
    /// Makes a key of a cell that was allocated before, so that others could refer to it.
    void SetKey(std::uint32_t cell, const Key& key)
    {
        PutText(cell, 0, "nk");
        Put<std::uint16_t>(cell, 2, 0x20);
        Put(cell, 20, key.subkeys);
        Put(cell, 28, key.subkeyList);
        Put(cell, 36, key.values);
        Put(cell, 40, key.valueList);
        Put(cell, 44, kNil);
        Put(cell, 48, key.classCell);
        Put(cell, 72, static_cast<std::uint16_t>(key.name.size()));
        Put(cell, 74, key.classLength);
        PutText(cell, 76, key.name);
    }
    std::uint32_t AddValue(std::string_view name, std::uint32_t type, std::uint32_t size, std::uint32_t data)
    {
        const std::uint32_t cell = Allocate(20 + name.size());
        PutText(cell, 0, "vk");
        Put(cell, 2, static_cast<std::uint16_t>(name.size()));
        Put(cell, 4, size);
        Put(cell, 8, data);
        Put(cell, 12, type);
        Put<std::uint16_t>(cell, 16, 1);
        PutText(cell, 20, name);
        return cell;
    }
    /// A list of offsets without a head, as keys have of their values.
    std::uint32_t AddOffsets(std::span<const std::uint32_t> offsets)
    {
        const std::uint32_t cell = Allocate(4 * offsets.size());
        std::memcpy(m_file.data() + 4096 + cell + 4, offsets.data(), 4 * offsets.size());
        return cell;
    }
    /// A list of subkeys ("li") or an index of lists ("ri").
    std::uint32_t AddList(std::string_view signature, std::span<const std::uint32_t> offsets)
    {
        const std::uint32_t cell = Allocate(4 + 4 * offsets.size());
        PutText(cell, 0, signature);
        Put(cell, 2, static_cast<std::uint16_t>(offsets.size()));
        std::memcpy(m_file.data() + 4096 + cell + 8, offsets.data(), 4 * offsets.size());
        return cell;
    }

    /// The whole file.
    [[nodiscard]] std::vector<std::byte> Finish(std::uint32_t root)
    {
        const std::size_t end = m_file.size();
        m_file.resize((end + 8 + 4095) / 4096 * 4096);
        const auto length = static_cast<std::uint32_t>(m_file.size() - 4096);
        Put(static_cast<std::uint32_t>(end - 4096), -4, static_cast<std::uint32_t>(m_file.size() - end)); // a free cell
        PutText(0, -4, "hbin");
        Put(0, 4, length);
        std::memcpy(m_file.data(), "regf", 4);
        for (const auto& [at, value] : {std::pair{20U, 1U}, {24U, 5U}, {32U, 1U}, {36U, root}, {40U, length}}) {
            std::memcpy(m_file.data() + at, &value, sizeof value);
        }
        HiveBuilder::FixChecksum(m_file);
        return m_file;
    }

private:
    std::vector<std::byte> m_file;
};

} // namespace tolvar::fixtures
