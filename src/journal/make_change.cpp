#include "journal/make_change.h"

#include <algorithm>

#include "platform/registry/caller_data.h"
#include "platform/registry/stored_value.h"
#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr LSTATUS kInvalidFunction = 1;

/// The bytes that the hive is to hold after a change.
std::optional<std::vector<BYTE>> DataOf(const ChangeRecord& change)
{
    const std::optional<std::vector<BYTE>> data =
        ValueFromText(change.form == DataForm::kOfType ? change.type : REG_BINARY, change.data.value_or(std::string()));
    if (!data || change.form == DataForm::kStored) {
        return data;
    }
    if (data->empty() && change.form == DataForm::kOfType && (change.type == REG_SZ || change.type == REG_EXPAND_SZ)) {
        return std::vector<BYTE>{0, 0}; // a text of no characters is a text, and has its end
    }
    const std::optional<std::vector<std::byte>> stored = DataFromCaller(change.type, *data);
    if (!stored) {
        return std::nullopt;
    }
    const auto* const bytes = reinterpret_cast<const BYTE*>(stored->data());
    return std::vector<BYTE>(bytes, bytes + stored->size());
}

bool HasSubkey(HKEY parent, const std::string& name)
{
    RegKey key;
    return RegOpenKeyExA(parent, name.c_str(), 0, KEY_READ, key.Put()) != ERROR_FILE_NOT_FOUND;
}

} // namespace

bool HasValue(HKEY key, const std::string& name)
{
    DWORD size = 0;
    return RegQueryValueExA(key, name.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_FILE_NOT_FOUND;
}

tl::unexpected<Error> PreparedChange::FailureOf(LSTATUS code) const
{
    const std::string value = m_change.IsKey() ? "" : ", value " + m_change.Name();
    return Failure(static_cast<ErrorCode>(code), m_change.path + value);
}

Result<PreparedChange> PreparedChange::Prepare(ChangeRecord change, const std::string& emptyNameLabel)
{
    PreparedChange prepared(std::move(change));
    ChangeRecord& made = prepared.m_change;
    const bool keepsNewName = made.isLiteralName && made.newName == made.name;
    for (auto [name, isKept] : {std::pair(&made.name, made.isLiteralName), std::pair(&made.newName, keepsNewName)}) {
        if (!isKept && !emptyNameLabel.empty() && *name == emptyNameLabel) {
            *name = "";
        }
    }
    const LSTATUS code = prepared.m_change.IsKey() ? prepared.PrepareKey() : prepared.PrepareValue();
    return code == ERROR_SUCCESS ? Result<PreparedChange>(std::move(prepared)) : prepared.FailureOf(code);
}

LSTATUS PreparedChange::PrepareKey()
{
    const bool isNew = m_change.kind == ChangeKind::kNew;
    const std::optional<ParentAndName> split = SplitLast(m_change.path);
    if (!isNew && !split) {
        return ERROR_ACCESS_DENIED; // a root stays
    }
    // A key that goes or gets another name may be a link: then it is the link, and not what it leads to.
    if (const LSTATUS code = isNew ? OpenKeyPath(m_change.path, *m_key.Put(), KEY_ALL_ACCESS)
                                   : OpenLinkPath(m_change.path, *m_key.Put(), KEY_ALL_ACCESS);
        code != ERROR_SUCCESS) {
        return code;
    }
    const LSTATUS code = isNew ? CheckWritable(m_key.Get()) : CheckTree(m_key.Get(), KEY_ALL_ACCESS);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    if (!isNew) {
        m_lastName = split->name;
        if (const LSTATUS opened = OpenKeyPath(split->parent, *m_parent.Put(), KEY_ALL_ACCESS);
            opened != ERROR_SUCCESS) {
            return opened;
        }
    }
    if (m_change.kind == ChangeKind::kDelete || m_change.kind == ChangeKind::kModify) {
        return ERROR_SUCCESS;
    }
    const std::string& newName = m_change.secondPath;
    if (newName.empty() || HoldsSeparator(newName)) {
        return ERROR_INVALID_PARAMETER; // it would be a path
    }
    const bool isOwnName = !isNew && CompareNames(newName, m_lastName) == 0;
    return !isOwnName && HasSubkey(isNew ? m_key.Get() : m_parent.Get(), newName) ? ERROR_ALREADY_EXISTS
                                                                                  : ERROR_SUCCESS;
}

LSTATUS PreparedChange::PrepareValue()
{
    if (const LSTATUS code = OpenKeyPath(m_change.path, *m_key.Put(), KEY_ALL_ACCESS); code != ERROR_SUCCESS) {
        return code;
    }
    LSTATUS code = CheckWritable(m_key.Get());
    if (code != ERROR_SUCCESS) {
        return code;
    }
    const std::string name = m_change.Name();
    const std::string newName = m_change.newName.value_or(name);
    m_isOneName = CompareNames(name, newName) == 0;
    m_value = OpenValue::Find(m_key.Get(), m_isOneName ? newName : name, code);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    switch (m_change.kind) {
    case ChangeKind::kDelete:
        return m_value->IsThere() ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    case ChangeKind::kRename:
        return m_value->IsThere() ? ERROR_SUCCESS : kInvalidFunction;
    case ChangeKind::kNew:
        m_change.kind = (m_isOneName ? m_value->IsThere() : HasValue(m_key.Get(), newName)) ? ChangeKind::kModify
                                                                                            : ChangeKind::kNew;
        break;
    case ChangeKind::kModify:
        break;
    }
    std::optional<std::vector<BYTE>> data = DataOf(m_change);
    if (!data) {
        return ERROR_INVALID_PARAMETER;
    }
    m_data = *std::move(data);
    return ERROR_SUCCESS;
}

Result<std::vector<std::byte>> PreparedChange::Image()
{
    if (m_change.IsKey() || m_isOneName) {
        return m_change.IsKey() ? ImageOfKey(m_key.Get()) : m_value->Image();
    }
    const std::vector<std::string> names = {m_change.Name(), m_change.newName.value_or(m_change.Name())};
    return ImageOfValues(m_key.Get(), names);
}

Result<KeyTextLosses> PreparedChange::WriteText(const KeyTextSink& sink)
{
    return m_change.IsKey() ? WriteKeyText(m_change.path, KeyTextForm::kRelative, sink)
                            : WriteValueText(m_change.path, *m_value, sink);
}

Result<std::vector<PlaceState>> PreparedChange::States(const KeyImage* image) const
{
    const std::vector<ChangePlace> places = PlacesOf(m_change);
    std::vector<PlaceState> states(places.size());
    for (std::size_t i = 0; i < places.size() && image != nullptr; ++i) {
        if (i != 0 && m_change.IsKey()) {
            break; // the new name of a key is free
        }
        const Result<PlaceDigest> before = DigestOf(*image, places[i]);
        if (!before) {
            return tl::unexpected(before.error());
        }
        states[i].before = *before;
    }
    const Result<PlaceDigest> after = m_change.IsKey() ? KeyAfter(image) : ValueAfter(image);
    if (!after) {
        return tl::unexpected(after.error());
    }
    states.back().after = *after; // a place in front of it is left
    return states;
}

/// What the change leaves under the last name that it touches.
Result<PlaceDigest> PreparedChange::KeyAfter(const KeyImage* image) const
{
    switch (m_change.kind) {
    case ChangeKind::kDelete:
        return kAbsent;
    case ChangeKind::kNew:
        return DigestOfNewKey(*Registry::Current(), m_change.path, m_change.secondPath);
    case ChangeKind::kRename:
        return DigestOfRenamed(*image, m_change.secondPath);
    case ChangeKind::kModify:
        break;
    }
    return Failure(ErrorCode::kInvalidFunction, m_change.path); // whoever makes it knows
}

Result<PlaceDigest> PreparedChange::ValueAfter(const KeyImage* image) const
{
    if (m_change.kind == ChangeKind::kDelete) {
        return kAbsent;
    }
    if (m_change.kind == ChangeKind::kRename) {
        const std::optional<ValueRecord> value = image->FindValue(m_change.Name());
        const auto data = value ? image->Inside().ReadData(*value) : tl::unexpected(HiveFault{});
        return data ? DigestOfValue(m_change.NewName(), value->type,
                                    {reinterpret_cast<const BYTE*>(data->data()), data->size()})
                    : Failure(ErrorCode::kRegistryCorrupt, m_change.path);
    }
    const std::optional<ValueRecord> stored = image != nullptr ? image->FindValue(m_change.NewName()) : std::nullopt;
    return DigestOfValue(stored ? stored->name.ToUtf8() : m_change.NewName(), m_change.type, m_data);
}

Result<void> PreparedChange::Make()
{
    const LSTATUS code = m_change.IsKey() ? MakeKeyChange() : MakeValueChange();
    return code == ERROR_SUCCESS ? Result<void>() : FailureOf(code);
}

LSTATUS PreparedChange::MakeKeyChange()
{
    if (m_change.kind == ChangeKind::kDelete) {
        m_key.Close();
        return RegDeleteTreeA(m_parent.Get(), m_lastName.c_str());
    }
    if (m_change.kind == ChangeKind::kModify) {
        return kInvalidFunction;
    }
    if (m_change.kind == ChangeKind::kRename) {
        return RegRenameKey(m_parent.Get(), m_lastName.c_str(), m_change.secondPath.c_str());
    }
    RegKey made;
    return RegCreateKeyExA(m_key.Get(), m_change.secondPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, made.Put(),
                           nullptr);
}

LSTATUS PreparedChange::MakeValueChange()
{
    const std::string name = m_change.Name();
    const std::string newName = m_change.NewName();
    if (m_change.kind == ChangeKind::kDelete) {
        return RegDeleteValueA(m_key.Get(), name.c_str());
    }
    if (m_change.kind == ChangeKind::kRename) {
        const bool isOverwriting = CompareNames(name, newName) != 0 && HasValue(m_key.Get(), newName);
        const LSTATUS code = isOverwriting ? RegDeleteValueA(m_key.Get(), newName.c_str()) : ERROR_SUCCESS;
        return code == ERROR_SUCCESS ? RegRenameValue(m_key.Get(), name.c_str(), newName.c_str()) : code;
    }
    return m_isOneName ? m_value->Store(m_change.type, m_data)
                       : SetStoredValue(m_key.Get(), newName.c_str(), m_change.type, m_data);
}

Result<void> PreparedChange::Flush() const
{
    const LSTATUS code = RegFlushKey(m_parent ? m_parent.Get() : m_key.Get());
    return code == ERROR_SUCCESS ? Result<void>() : FailureOf(code);
}

} // namespace tolvar
