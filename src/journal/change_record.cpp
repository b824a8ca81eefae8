#include "journal/change_record.h"

#include <fmt/format.h>

namespace tolvar {

namespace {

ChangeRecord OfValue(ChangeKind kind, ChangeObject object, std::string key, std::string name, DWORD type)
{
    ChangeRecord change;
    change.kind = kind;
    change.object = object;
    change.secondPath = key;
    change.path = std::move(key);
    change.name = std::move(name);
    change.type = type;
    return change;
}

ChangeRecord OfKey(ChangeKind kind, std::string path, std::string secondPath)
{
    ChangeRecord change;
    change.kind = kind;
    change.path = std::move(path);
    change.secondPath = std::move(secondPath);
    return change;
}

} // namespace

ChangeRecord ChangeRecord::EditValue(std::string key, std::string name, DWORD type, std::string data)
{
    ChangeRecord change = OfValue(ChangeKind::kModify, ChangeObject::kEditedValue, std::move(key), name, type);
    change.newName = std::move(name);
    change.data = std::move(data);
    return change;
}

ChangeRecord ChangeRecord::NewValue(std::string key, std::string name, DWORD type, std::string data)
{
    ChangeRecord change = EditValue(std::move(key), std::move(name), type, std::move(data));
    change.kind = ChangeKind::kNew;
    return change;
}

ChangeRecord ChangeRecord::DeleteValue(std::string key, std::string name, DWORD type)
{
    return OfValue(ChangeKind::kDelete, ChangeObject::kValue, std::move(key), std::move(name), type);
}

ChangeRecord ChangeRecord::RenameValue(std::string key, std::string name, std::string newName, DWORD type)
{
    ChangeRecord change = OfValue(ChangeKind::kRename, ChangeObject::kValue, std::move(key), std::move(name), type);
    change.newName = std::move(newName);
    return change;
}

ChangeRecord ChangeRecord::DeleteKey(std::string key)
{
    ChangeRecord change = OfKey(ChangeKind::kDelete, std::move(key), {});
    change.name = "";
    return change;
}

ChangeRecord ChangeRecord::RenameKey(std::string key, std::string newName)
{
    return OfKey(ChangeKind::kRename, std::move(key), std::move(newName));
}

ChangeRecord ChangeRecord::NewKey(std::string parent, std::string name)
{
    ChangeRecord change = OfKey(ChangeKind::kNew, std::move(parent), std::move(name));
    change.name = "";
    change.newName = "";
    return change;
}

std::string FormatRecord(const ChangeRecord& change, std::string_view user, std::string_view stamp)
{
    const auto text = [](const std::optional<std::string>& field) {
        return field ? std::string_view(*field) : std::string_view("(null)");
    };
    return fmt::format("{};{};{};{};{};{};{};{};{}", static_cast<int>(change.kind), static_cast<int>(change.object),
                       change.path, change.secondPath, static_cast<std::int32_t>(change.type), text(change.name),
                       text(change.newName), user, stamp);
}

} // namespace tolvar
