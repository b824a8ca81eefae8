#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "platform/hive/base_block.h"
#include "platform/hive/bin_header.h"

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

    RawHive() : m_file(kBaseBlockSize + kBinHeaderSize) {}

    /// A new cell of zeros; its offset.
    std::uint32_t Allocate(std::size_t payload)
    {
        const auto cell = static_cast<std::uint32_t>(m_file.size() - kBaseBlockSize);
        const auto size = static_cast<std::uint32_t>((payload + 4 + 7) / 8 * 8);
        m_file.resize(m_file.size() + size);
        PutSize(cell, size);
        return cell;
    }
    /// Stores a field of `cell`.
    template <class T>
    void Put(std::uint32_t cell, Field<T> field, std::type_identity_t<T> value)
    {
        Store(Payload(cell), field, value);
    }
    void PutSize(std::uint32_t cell, std::uint32_t size)
    {
        Store(std::span(m_file).subspan(kBaseBlockSize + cell), Field<std::uint32_t>{0}, 0U - size);
    }
    void PutText(std::uint32_t cell, std::uint32_t at, std::string_view text)
    {
        std::memcpy(Payload(cell).data() + at, text.data(), text.size());
    }

    std::uint32_t AddKey(const Key& key)
    {
        const std::uint32_t cell = Allocate(kKeyFixedSize + key.name.size());
        SetKey(cell, key);
        return cell;
    }
    /// Makes a key of a cell that was allocated before, so that others could refer to it.
    void SetKey(std::uint32_t cell, const Key& key)
    {
        Put(cell, key_fields::kSignature, signatures::kKey);
        Put(cell, key_fields::kFlags, key_flags::kLatin1Name);
        Put(cell, key_fields::kSubkeyCount, key.subkeys);
        Put(cell, key_fields::kSubkeyList, key.subkeyList);
        Put(cell, key_fields::kValueCount, key.values);
        Put(cell, key_fields::kValueList, key.valueList);
        Put(cell, key_fields::kSecurity, kNil);
        Put(cell, key_fields::kClass, key.classCell);
        Put(cell, key_fields::kNameLength, static_cast<std::uint16_t>(key.name.size()));
        Put(cell, key_fields::kClassLength, key.classLength);
        PutText(cell, key_fields::kName, key.name);
    }
    std::uint32_t AddValue(std::string_view name, std::uint32_t type, std::uint32_t size, std::uint32_t data)
    {
        const std::uint32_t cell = Allocate(kValueFixedSize + name.size());
        Put(cell, value_fields::kSignature, signatures::kValue);
        Put(cell, value_fields::kNameLength, static_cast<std::uint16_t>(name.size()));
        Put(cell, value_fields::kDataLength, size);
        Put(cell, value_fields::kData, data);
        Put(cell, value_fields::kType, type);
        Put(cell, value_fields::kFlags, kLatin1ValueName);
        PutText(cell, value_fields::kName, name);
        return cell;
    }
    /// A list of offsets without a head, as keys have of their values.
    std::uint32_t AddOffsets(std::span<const std::uint32_t> offsets)
    {
        const std::uint32_t cell = Allocate(4 * offsets.size());
        std::ranges::copy(std::as_bytes(offsets), Payload(cell).begin());
        return cell;
    }
    /// A list of subkeys ("li") or an index of lists ("ri").
    std::uint32_t AddList(std::string_view signature, std::span<const std::uint32_t> offsets)
    {
        const std::uint32_t cell = Allocate(kListHeader + 4 * offsets.size());
        PutText(cell, 0, signature);
        Put(cell, list_fields::kCount, static_cast<std::uint16_t>(offsets.size()));
        std::ranges::copy(std::as_bytes(offsets), Payload(cell).begin() + kListHeader);
        return cell;
    }

    /// The whole file.
    [[nodiscard]] std::vector<std::byte> Finish(std::uint32_t root)
    {
        const auto end = static_cast<std::uint32_t>(m_file.size() - kBaseBlockSize);
        const std::uint32_t length = RoundUp(end + kLeastCell, kBinAlignment);
        m_file.resize(kBaseBlockSize + length);
        PutSize(end, 0U - (length - end)); // a free cell
        WriteBinHeader(std::span(m_file).subspan(kBaseBlockSize), 0, length);
        const std::span<std::byte> base = std::span(m_file).first(kBaseBlockChecked);
        BeginBaseBlock(base, 5, CellOffset{root}, 0);
        StoreBaseBlock(base, 0, 0, length, file_type::kHive);
        return m_file;
    }

private:
    [[nodiscard]] std::span<std::byte> Payload(std::uint32_t cell)
    {
        return std::span(m_file).subspan(kBaseBlockSize + cell + kCellHeader);
    }

    std::vector<std::byte> m_file;
};

} // namespace tolvar::fixtures
