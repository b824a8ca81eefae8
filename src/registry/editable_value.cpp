#include "registry/editable_value.h"

#include <vector>

#include "platform/registry/stored_value.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

/// Whether a text comes back unchanged from a field that shows it in lines. Such a field ends lines in its own way; a
/// list has each of its strings on a line of its own.
bool IsTextOfLines(DWORD type, std::string_view text)
{
    // Carriage return, and U+0085, U+2028, U+2029, U+FDD0, U+FDD1 and U+FFFC, which stand for structure in a document
    for (const std::string_view breaking :
         {"\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xEF\xB7\x90", "\xEF\xB7\x91", "\xEF\xBF\xBC"}) {
        if (text.find(breaking) != std::string_view::npos) {
            return false;
        }
    }
    return type != REG_MULTI_SZ || text.find('\n') == std::string_view::npos;
}

bool IsText(DWORD type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_LINK || type == REG_MULTI_SZ;
}

} // namespace

LSTATUS ReadEditableValue(HKEY key, const std::string& name, EditableValue& value)
{
    DWORD type = 0;
    std::vector<BYTE> stored;
    if (const LSTATUS code = QueryStoredValue(key, name.c_str(), &type, &stored); code != ERROR_SUCCESS) {
        return code;
    }
    value = {type, {}, !TextFormHolds(type, stored.size(), std::as_bytes(std::span(stored)))};
    if (!value.isStored) {
        DWORD size = 0;
        LSTATUS code = RegQueryValueExA(key, name.c_str(), nullptr, nullptr, nullptr, &size);
        std::vector<BYTE> data(size);
        if (code == ERROR_SUCCESS) {
            code = RegQueryValueExA(key, name.c_str(), nullptr, nullptr, data.data(), &size);
        }
        if (code != ERROR_SUCCESS) {
            return code;
        }
        value.text = ValueToText(type, data, ExpandStrings::kNo);
        value.isStored = IsText(type) && !IsTextOfLines(type, value.text);
    }
    if (value.isStored) {
        value.text = ValueToText(REG_BINARY, stored, ExpandStrings::kNo);
    }
    return ERROR_SUCCESS;
}

} // namespace tolvar
