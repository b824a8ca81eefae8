#include "valuelist/key_rows.h"

#include <algorithm>
#include <utility>

#include "platform/registry/subkey_listing.h"
#include "platform/registry/value_listing.h"
#include "platform/system/file_time.h"
#include "platform/system/text.h"
#include "registry/key_owner.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr int kLastTypeImage = 13;
constexpr int kRefusedImage = 14;
constexpr const char* kParentName = "../";
constexpr const char* kDeniedName = "ACCESS DENIED";
constexpr const char* kDeniedOwner = "Access Denied";
constexpr const char* kKeyType = "Key";

/// Room for any name of a value: 16,383 units of up to three bytes, and the terminator.
constexpr DWORD kNameRoom = 3 * 16383 + 1;

} // namespace

/// One value as RegEnumValueA hands it out.
struct KeyRows::ReadValue {
    LSTATUS code = ERROR_SUCCESS;
    std::string_view name; ///< valid until the next value is read
    DWORD type = 0;
    DWORD size = 0;         ///< bytes of the whole data; 0 where only the name is wanted
    std::vector<BYTE> data; ///< where it is wanted, at most kMaxData bytes of it
};

KeyRows::KeyRows(KeyRowTexts texts, bool isNT) : m_texts(std::move(texts)), m_bIsNT(isNT), m_nameRoom(kNameRoom, '\0')
{}

/// What is not wanted is not looked at: of a long text already the length takes a look at all of it.
KeyRows::ReadValue KeyRows::ValueAt(std::uint32_t index, Wanted wanted) const
{
    ReadValue value;
    value.data.resize(wanted == Wanted::kData ? kMaxData : 0);
    DWORD nameSize = kNameRoom;
    value.size = static_cast<DWORD>(value.data.size());
    value.code = RegEnumValueA(m_key.Get(), index, m_nameRoom.data(), &nameSize, nullptr, &value.type,
                               wanted == Wanted::kData ? value.data.data() : nullptr,
                               wanted == Wanted::kName ? nullptr : &value.size);
    if (value.code == ERROR_SUCCESS) {
        value.name = std::string_view(m_nameRoom).substr(0, nameSize);
    }
    value.data.resize(std::min<std::size_t>(value.size, value.data.size()));
    return value;
}

std::int64_t KeyRow::ItemData() const noexcept
{
    switch (kind) {
    case Kind::kParent:
        return -2;
    case Kind::kSubkey:
    case Kind::kRootKey:
        return -1;
    default:
        return type;
    }
}

int KeyRow::Image() const noexcept
{
    switch (kind) {
    case Kind::kParent:
    case Kind::kRootKey:
        return 0;
    case Kind::kSubkey:
        return isRefused ? kRefusedImage : 0;
    case Kind::kDefaultValue:
        return 1;
    case Kind::kDenied:
        return kRefusedImage;
    case Kind::kValue:
        break;
    }
    return static_cast<int>(std::min<DWORD>(type, kLastTypeImage - 1)) + 1;
}

void KeyRows::Clear()
{
    m_key.Close();
    m_keyTime.clear();
    m_keyOwner.clear();
    m_rows.clear();
    m_subkeys.clear();
}

void KeyRows::ShowRoots()
{
    Clear();
    for (const RootKey& root : ShownRootKeys()) {
        m_rows.push_back({KeyRow::Kind::kRootKey, false, static_cast<std::uint32_t>(m_subkeys.size()), 0});
        m_subkeys.push_back({root.name, 0});
    }
}

LSTATUS KeyRows::ShowKey(HKEY root, const std::string& subpath, bool showsSubkeys)
{
    Clear();
    LSTATUS code = RegOpenKeyExA(root, subpath.c_str(), 0, KEY_READ, m_key.Put());
    if (code == ERROR_ACCESS_DENIED) {
        m_rows.push_back({KeyRow::Kind::kDenied, false, 0, 0});
    }
    if (code != ERROR_SUCCESS) {
        return code;
    }
    FILETIME written = {};
    code = RegQueryInfoKeyA(m_key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, &written);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    m_keyTime = TimeText(std::uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime);
    m_rows.push_back({KeyRow::Kind::kParent, false, 0, 0});
    if (showsSubkeys) {
        AddSubkeys();
    }
    return AddValues();
}

LSTATUS KeyRows::AddValues()
{
    const std::size_t first = m_rows.size();
    bool hasDefault = false;
    const LSTATUS code = ListValues(m_key.Get(), [&](const ListedValue& value) {
        if (value.name.size() < kNameRoom) { // a longer one could not be read for its row
            hasDefault = hasDefault || value.name.empty();
            m_rows.push_back({KeyRow::Kind::kValue, false, value.index, value.type});
        }
    });
    if (!hasDefault) {
        m_rows.insert(m_rows.begin() + static_cast<std::ptrdiff_t>(first), {KeyRow::Kind::kDefaultValue, false, 0, 0});
    }
    return code;
}

void KeyRows::AddSubkeys()
{
    static_cast<void>(ListSubkeys(m_key.Get(), KEY_READ, [this](const ListedSubkey& subkey) {
        m_rows.push_back({KeyRow::Kind::kSubkey, subkey.isRefused, static_cast<std::uint32_t>(m_subkeys.size()), 0});
        m_subkeys.push_back({std::string(subkey.name), subkey.lastWrite});
    }));
}

std::string KeyRows::Cell(std::size_t row, KeyColumn column) const
{
    const KeyRow& shown = m_rows[row];
    const bool isName = column == KeyColumn::kName;
    switch (shown.kind) {
    case KeyRow::Kind::kParent:
        return isName ? kParentName : "";
    case KeyRow::Kind::kDenied:
        return isName ? kDeniedName : "";
    case KeyRow::Kind::kDefaultValue:
        return isName ? m_texts.defaultName : column == KeyColumn::kData ? m_texts.defaultNoData : "";
    case KeyRow::Kind::kRootKey:
        return isName ? m_subkeys[shown.index].name : "";
    case KeyRow::Kind::kSubkey:
        return SubkeyCell(shown, column);
    case KeyRow::Kind::kValue:
        break;
    }
    return ValueCell(shown, column);
}

std::string KeyRows::ValueCell(const KeyRow& row, KeyColumn column) const
{
    switch (column) {
    case KeyColumn::kName: {
        const ReadValue value = ValueAt(row.index, Wanted::kName);
        return value.name.empty() && value.code == ERROR_SUCCESS ? m_texts.defaultName : std::string(value.name);
    }
    case KeyColumn::kType:
        return ValueTypeName(row.type);
    case KeyColumn::kLastChange:
        return m_keyTime;
    case KeyColumn::kLength: {
        const ReadValue value = ValueAt(row.index, Wanted::kLength);
        return value.code == ERROR_SUCCESS ? std::to_string(value.size) : std::string();
    }
    case KeyColumn::kOwner:
        if (m_keyOwner.empty()) {
            m_keyOwner = OwnerOf(m_key.Get());
        }
        return m_keyOwner;
    case KeyColumn::kData:
        break;
    }
    return ValueData(row);
}

std::string KeyRows::ValueData(const KeyRow& row) const
{
    ReadValue value = ValueAt(row.index, Wanted::kData);
    if (value.code == ERROR_SUCCESS) {
        return value.size == 0 ? m_texts.emptyData : ValueToListText(value.type, value.data);
    }
    if (value.code != ERROR_MORE_DATA) {
        return {};
    }
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ) {
        const std::string_view text(reinterpret_cast<const char*>(value.data.data()), value.data.size());
        value.data.resize(WholeCharacters(text));
    }
    return ValueToListText(value.type, value.data) + "...";
}

std::string KeyRows::SubkeyCell(const KeyRow& row, KeyColumn column) const
{
    const Subkey& subkey = m_subkeys[row.index];
    switch (column) {
    case KeyColumn::kName:
        return subkey.name;
    case KeyColumn::kType:
        return kKeyType;
    case KeyColumn::kLastChange:
        return TimeText(subkey.lastWrite);
    case KeyColumn::kOwner: {
        RegKey key;
        static_cast<void>(RegOpenKeyExA(m_key.Get(), subkey.name.c_str(), 0, KEY_READ, key.Put()));
        return OwnerOf(key.Get());
    }
    default:
        return {};
    }
}

std::string KeyRows::OwnerOf(HKEY key) const
{
    std::string owner;
    std::string group;
    return GetKeyOwnerAndGroup(key, owner, group) == ERROR_SUCCESS ? owner : kDeniedOwner;
}

std::string KeyRows::TimeText(std::uint64_t time) const
{
    if (!m_bIsNT) {
        return m_texts.unknownTime;
    }
    return time != 0 ? LocalTimeText(time) : std::string(); // a key that lies in no hive was never written
}

std::string KeyRows::Name(std::size_t row) const
{
    switch (m_rows[row].kind) {
    case KeyRow::Kind::kValue:
        return std::string(ValueAt(m_rows[row].index, Wanted::kName).name);
    case KeyRow::Kind::kDefaultValue:
        return {};
    case KeyRow::Kind::kParent:
    case KeyRow::Kind::kSubkey:
    case KeyRow::Kind::kRootKey:
    case KeyRow::Kind::kDenied:
        break;
    }
    return Cell(row, KeyColumn::kName);
}

std::size_t KeyRows::FindName(std::string_view name) const
{
    for (std::size_t row = m_rows.size(); row-- > 0;) {
        if (Cell(row, KeyColumn::kName) == name) {
            return row;
        }
    }
    return m_rows.size();
}

} // namespace tolvar
