#include "valuelist/row_tip.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "platform/registry/key_path.h"
#include "platform/system/file_time.h"
#include "registry/key_owner.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr DWORD kMaxNames = 6;        ///< of subkeys and values that are named
constexpr std::size_t kMaxData = 128; ///< bytes of data that are shown
constexpr DWORD kNameRoom = 3 * 16383 + 1;

using Lines = std::vector<std::string>;

std::uint64_t TimeOf(const FILETIME& time)
{
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

void Add(Lines& lines, const std::string& label, const std::string& text)
{
    lines.push_back(label + ": " + text);
}

/// The first names that `enumerate` hands out, and "..." where there are more.
template <class Enumerate>
std::string Names(DWORD count, Enumerate&& enumerate)
{
    std::string names;
    for (DWORD index = 0; index < std::min(count, kMaxNames); ++index) {
        std::string name(kNameRoom, '\0');
        DWORD size = kNameRoom;
        name.resize(enumerate(index, name.data(), &size) == ERROR_SUCCESS ? size : 0);
        names += name + ", ";
    }
    if (count > kMaxNames) {
        return names + "...";
    }
    names.resize(names.size() - std::min<std::size_t>(2, names.size()));
    return names;
}

Lines ParentTip(const RowTipTexts& texts, const RowTipPlace& place)
{
    if (place.subpath.empty()) {
        return {texts.upToRoots + " ", "   Tolvar - " + texts.machine};
    }
    std::string path;
    RootKeyName(path, place.root);
    AppendPath(path, ParentPath(place.subpath));
    return {texts.upToKey + " ", "   " + path};
}

Lines SubkeyTip(const RowTipTexts& texts, bool isNT, const RowTipPlace& place, const std::string& name)
{
    RegKey key;
    const std::string path = JoinPath(place.subpath, name);
    if (RegOpenKeyExA(place.root, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return {};
    }
    std::string owner;
    std::string group;
    static_cast<void>(GetKeyOwnerAndGroup(key.Get(), owner, group)); // what is not found stays empty
    std::string className(kNameRoom, '\0');
    DWORD classSize = kNameRoom;
    DWORD subkeys = 0;
    DWORD values = 0;
    FILETIME lastWrite = {};
    if (RegQueryInfoKeyA(key.Get(), className.data(), &classSize, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                         nullptr, nullptr, &lastWrite) != ERROR_SUCCESS) {
        return {};
    }
    className.resize(classSize);
    const std::string subkeyNames = Names(subkeys, [&](DWORD index, char* text, DWORD* size) {
        return RegEnumKeyExA(key.Get(), index, text, size, nullptr, nullptr, nullptr, nullptr);
    });
    const std::string valueNames = Names(values, [&](DWORD index, char* text, DWORD* size) {
        const LSTATUS code = RegEnumValueA(key.Get(), index, text, size, nullptr, nullptr, nullptr, nullptr);
        if (code == ERROR_SUCCESS && *size == 0) {
            *size = static_cast<DWORD>(texts.defaultName.copy(text, kNameRoom));
        }
        return code;
    });
    Lines lines;
    Add(lines, texts.keyName, name);
    if (isNT) {
        Add(lines, texts.owner, owner);
        Add(lines, texts.group, group);
    }
    Add(lines, texts.keyClass, className.empty() ? texts.noClass : className);
    Add(lines, texts.valueCount, std::to_string(values));
    Add(lines, texts.valueNames, valueNames);
    Add(lines, texts.subkeyCount, std::to_string(subkeys));
    Add(lines, texts.subkeyNames, subkeyNames);
    if (isNT) {
        Add(lines, texts.lastChange, LongLocalTimeText(TimeOf(lastWrite)));
    }
    return lines;
}

/// The data of a value for a tip: its beginning, and the number that it is where it is one of 64 bits.
std::string DataText(DWORD type, const std::vector<BYTE>& data)
{
    const auto shown = std::span(data).first(std::min(kMaxData, data.size()));
    std::string text = ValueToText(type, shown, ExpandStrings::kYes);
    if (type == REG_QWORD) {
        if (const std::optional<std::uint64_t> number = NumberFromValueText(type, text)) {
            text += fmt::format("({})", *number);
        }
    }
    return data.size() > kMaxData ? text + " ..." : text;
}

Lines ValueTip(const RowTipTexts& texts, bool isNT, const RowTipPlace& place, const std::string& name)
{
    RegKey key;
    std::string owner;
    std::string group;
    FILETIME lastWrite = {};
    if (RegOpenKeyExA(place.root, place.subpath.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return {};
    }
    static_cast<void>(GetKeyOwnerAndGroup(key.Get(), owner, group));
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, &lastWrite) != ERROR_SUCCESS ||
        RegQueryValueExA(key.Get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::vector<BYTE> data(size);
    if (RegQueryValueExA(key.Get(), name.c_str(), nullptr, &type, data.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    Lines lines;
    Add(lines, texts.valueName, name.empty() ? texts.defaultName : name);
    if (isNT) {
        Add(lines, texts.owner, owner);
        Add(lines, texts.group, group);
    }
    Add(lines, texts.type, ValueTypeName(type));
    Add(lines, texts.length, fmt::format("{} bytes", data.size()));
    Add(lines, texts.data, DataText(type, data));
    if (isNT) {
        Add(lines, texts.lastChange, LongLocalTimeText(TimeOf(lastWrite)));
    }
    return lines;
}

} // namespace

std::vector<std::string> RowTip(const RowTipTexts& texts, bool isNT, const RowTipPlace& place, KeyRow::Kind kind,
                                const std::string& name)
{
    switch (kind) {
    case KeyRow::Kind::kParent:
        return ParentTip(texts, place);
    case KeyRow::Kind::kSubkey:
        return SubkeyTip(texts, isNT, place, name);
    case KeyRow::Kind::kValue:
    case KeyRow::Kind::kDefaultValue:
        return ValueTip(texts, isNT, place, name);
    case KeyRow::Kind::kRootKey:
    case KeyRow::Kind::kDenied:
        break;
    }
    return {};
}

} // namespace tolvar
