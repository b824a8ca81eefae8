#include "journal/pasted_value.h"

#include "platform/registry/key_path.h"
#include "registry/editable_value.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "registry/value_reference.h"

namespace tolvar {

namespace {

/// The handle of the root whose name a path begins with, spelled exactly.
HKEY ExactRoot(std::string_view path)
{
    const HKEY root = RootKeyFromName(path);
    std::string name;
    return root != nullptr && RootKeyName(name, root) && SplitFirst(path).first == name ? root : nullptr;
}

} // namespace

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
    EditableValue copied;
    if (const LSTATUS code = ReadEditableValue(key.Get(), value->name, copied); code != ERROR_SUCCESS) {
        return value->name.empty() ? Failure(ErrorCode::kInvalidData)
                                   : Failure(static_cast<ErrorCode>(code), value->key + ", value " + value->name);
    }
    ChangeRecord change = ChangeRecord::EditValue(target, value->name, copied.type, copied.text);
    change.form = copied.isStored ? DataForm::kStored : DataForm::kOfType;
    change.isLiteralName = true;
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
