#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/registry/winreg.h"

namespace tolvar {

/// What happens to a key or value. The numbers are those of the journal's records.
enum class ChangeKind : int {
    kDelete = 4,
    kRename = 5,
    kModify = 6,
    kNew = 7,
};

/// What it happens to. The numbers are those of the journal's records.
enum class ChangeObject : int {
    kKey = 0,
    kValue = 1,
    kEditedValue = 2, ///< a value through a form that edits it
};

/// How the new data of a value is written.
enum class DataForm {
    kOfType, ///< in the text form of the value's type
    kBytes,  ///< as bytes, "01 02 ", whatever the type, which the platform takes as it takes any caller's
    kStored, ///< as the very bytes that the hive is to hold: for data that the type's own form can't bring back
};

/// One change that the user asks for: see CTolvarDoc::ApplyChange. The makers below fill it as each operation needs it.
struct ChangeRecord {
    ChangeKind kind = ChangeKind::kModify;
    ChangeObject object = ChangeObject::kKey;
    std::string path;                   ///< full path of the key that the change is about; for a new key, its parent
    std::string secondPath;             ///< a key's new name; for values the path again
    DWORD type = 0;                     ///< of a value
    std::optional<std::string> name;    ///< of a value before the change
    std::optional<std::string> newName; ///< of a value after the change
    bool isLiteralName = false; ///< `name` is the value's own, even where it reads like the label of the unnamed value
    std::optional<std::string> user;   ///< nothing: the user of this session
    std::optional<std::string> data;   ///< a value's new data
    DataForm form = DataForm::kOfType; ///< of `data`

    [[nodiscard]] static ChangeRecord EditValue(std::string key, std::string name, DWORD type, std::string data);
    [[nodiscard]] static ChangeRecord NewValue(std::string key, std::string name, DWORD type, std::string data);
    [[nodiscard]] static ChangeRecord DeleteValue(std::string key, std::string name, DWORD type);
    [[nodiscard]] static ChangeRecord RenameValue(std::string key, std::string name, std::string newName, DWORD type);
    [[nodiscard]] static ChangeRecord DeleteKey(std::string key);
    [[nodiscard]] static ChangeRecord RenameKey(std::string key, std::string newName);
    [[nodiscard]] static ChangeRecord NewKey(std::string parent, std::string name);

    /// The name of a value before and after the change; empty is the default value.
    [[nodiscard]] std::string Name() const { return name.value_or(std::string()); }
    [[nodiscard]] std::string NewName() const { return newName.value_or(std::string()); }
    [[nodiscard]] bool IsKey() const noexcept { return object == ChangeObject::kKey; }
};

/// The journal's line for a change: nine fields with ";" between them, a missing text as "(null)".
[[nodiscard]] std::string FormatRecord(const ChangeRecord& change, std::string_view user, std::string_view stamp);

} // namespace tolvar
