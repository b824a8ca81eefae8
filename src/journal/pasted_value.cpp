#include "journal/pasted_value.h"

#include <vector>

#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr std::string_view kBeginsName = "\\\\[";

/// The handle of the root whose name a path begins with, spelled exactly.
HKEY ExactRoot(std::string_view path)
{
    const HKEY root = RootKeyFromName(path);
    std::string name;
    return root != nullptr && RootKeyName(name, root) && path.substr(0, path.find('\\')) == name ? root : nullptr;
}

} // namespace

std::optional<ValueReference> ParseValueReference(std::string_view text)
{
    const std::size_t at = text.find(kBeginsName);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(at + kBeginsName.size());
    return ValueReference{std::string(text.substr(0, at)), std::string(rest.substr(0, rest.rfind(']')))};
}

std::string FormatValueReference(const ValueReference& value)
{
    return value.key + std::string(kBeginsName) + value.name + "]";
}

Result<ChangeRecord> PasteOf(std::string_view text, const std::string& target)
{
    const std::optional<ValueReference> value = ParseValueReference(text);
    if (!value) {
        return Failure(ErrorCode::kInvalidData);
    }
    RegKey key;
    const LSTATUS opened =
        ExactRoot(value->key) != nullptr ? OpenKeyPath(value->key, *key.Put(), KEY_QUERY_VALUE) : ERROR_FILE_NOT_FOUND;
    if (opened != ERROR_SUCCESS) {
        return Failure(static_cast<ErrorCode>(opened), value->key);
    }
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS code = RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, &type, nullptr, &size);
    std::vector<BYTE> data(size);
    if (code == ERROR_SUCCESS && size != 0) {
        code = RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, &type, data.data(), &size);
    }
    if (code != ERROR_SUCCESS) {
        return value->name.empty() ? Failure(ErrorCode::kInvalidData)
                                   : Failure(static_cast<ErrorCode>(code), value->key + ", value " + value->name);
    }
    ChangeRecord change =
        ChangeRecord::EditValue(target, value->name, type, ValueToText(REG_BINARY, data, ExpandStrings::kNo));
    change.form = DataForm::kBytes;
    return change;
}

std::string FreshKeyName(const std::string& parent)
{
    for (unsigned number = 1;; ++number) {
        std::string name = "New Key N#" + std::to_string(number);
        RegKey key;
        if (OpenKeyPath(parent + "\\" + name, *key.Put(), KEY_READ) == ERROR_FILE_NOT_FOUND) {
            return name;
        }
    }
}

} // namespace tolvar
