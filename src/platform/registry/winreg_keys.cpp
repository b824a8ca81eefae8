#include "platform/registry/winreg.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/registry/key_text.h"
#include "platform/registry/winreg_access.h"

using namespace tolvar;

namespace tolvar {

RegistryCall::RegistryCall(HKEY handle, REGSAM needed)
{
    Registry* registry = Registry::Current();
    if (registry == nullptr || handle == nullptr) {
        m_code = ERROR_INVALID_HANDLE;
        return;
    }
    m_state = &registry->Inside();
    m_lock = std::shared_lock(m_state->lock);
    if (const NamespaceKey* root = m_state->RootOf(handle); root != nullptr) {
        m_key = std::make_shared<OpenKey>();
        m_key->key = KeyReference::Of(*root);
        AppendUtf8(m_key->path, root->name);
        m_key->access = KEY_ALL_ACCESS;
        return;
    }
    m_key = m_state->handles.Find(handle);
    if (m_key == nullptr) {
        m_code = ERROR_INVALID_HANDLE;
    } else if ((m_key->access & needed) != needed) {
        m_code = ERROR_ACCESS_DENIED;
    }
}

tl::expected<KeyNode, LSTATUS> RegistryCall::Node() const noexcept
{
    const Checked<KeyNode> node = m_key->key.Node();
    return node ? tl::expected<KeyNode, LSTATUS>(*node) : tl::unexpected(CodeOf(node.error()));
}

LSTATUS StoreName(std::string_view name, char* buffer, DWORD* size)
{
    if (*size <= name.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(buffer, name.data(), name.size());
    buffer[name.size()] = '\0';
    *size = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

namespace {

/// A subkey as an enumeration meets it.
struct ListedKey {
    std::string name;
    std::string className;
    std::uint64_t lastWrite = 0;
};

std::string ClassOf(const Hive& hive, const KeyNode& node)
{
    const Checked<NameView> name = hive.ClassName(node);
    return name ? name->ToUtf8() : std::string();
}

/// Runs over the subkeys of a key in the order of enumeration: those of the hive, without the ones that mounts hide,
/// then those of the name space. A key that can't be read keeps its index and is handed to `visit` as nothing. `visit`
/// answers false to end the run.
template <class Visit>
void ForEachSubkey(const KeyReference& key, const Checked<KeyNode>& node, Visit&& visit)
{
    if (node) {
        SubkeyCursor cursor = key.hive->Subkeys(*node);
        while (true) {
            const Checked<CellOffset> next = cursor.Next();
            if (next && next->IsNil()) {
                break;
            }
            const Checked<KeyNode> child = next ? key.hive->Key(*next) : tl::unexpected(next.error());
            if (child && key.IsHidden(child->name)) {
                continue;
            }
            if (next && !visit(child, static_cast<const NamespaceKey*>(nullptr))) {
                return;
            }
        }
    }
    if (key.space != nullptr) {
        for (const std::unique_ptr<NamespaceKey>& child : key.space->children) {
            if (!visit(Checked<KeyNode>(Fault(Breach::kNone, {})), child.get())) {
                return;
            }
        }
    }
}

Checked<KeyNode> NodeOf(const KeyReference& key)
{
    return key.HasHive() ? key.Node() : Fault(Breach::kNone, {});
}

ListedKey Describe(const Hive& hive, const KeyNode& node)
{
    return {node.name.ToUtf8(), ClassOf(hive, node), node.lastWrite};
}

ListedKey Describe(const NamespaceKey& space)
{
    ListedKey listed{ToUtf8(space.name), {}, 0};
    if (const Checked<KeyNode> node = NodeOf(KeyReference::Of(space)); node) {
        listed.className = ClassOf(*space.hive, *node);
        listed.lastWrite = node->lastWrite;
    }
    return listed;
}

/// Subkey number `index` of a key that lies in a hive alone, from where the last enumeration stood.
tl::expected<ListedKey, LSTATUS> SubkeyOfHive(OpenKey& open, const KeyNode& node, DWORD index)
{
    const std::lock_guard lock(open.enumerationMutex);
    if (!open.isEnumerating) {
        open.enumeration = open.key.hive->Subkeys(node);
        open.isEnumerating = true;
    }
    open.enumeration.Seek(index);
    Checked<CellOffset> next = open.enumeration.Next();
    while (!next) { // a damaged leaf has no subkeys to count
        next = open.enumeration.Next();
    }
    if (next->IsNil()) {
        return tl::unexpected(ERROR_NO_MORE_ITEMS);
    }
    const Checked<KeyNode> child = open.key.hive->Key(*next);
    if (!child) {
        return tl::unexpected(RegistryCall::CodeOf(child.error()));
    }
    return Describe(*open.key.hive, *child);
}

tl::expected<ListedKey, LSTATUS> SubkeyAt(const RegistryCall& call, DWORD index)
{
    const KeyReference& key = call.Key().key;
    const Checked<KeyNode> node = NodeOf(key);
    if (key.HasHive() && !node) {
        return tl::unexpected(RegistryCall::CodeOf(node.error()));
    }
    if (key.space == nullptr || key.space->children.empty()) {
        return node ? SubkeyOfHive(call.Key(), *node, index) : tl::unexpected(ERROR_NO_MORE_ITEMS);
    }
    tl::expected<ListedKey, LSTATUS> result = tl::unexpected(ERROR_NO_MORE_ITEMS);
    DWORD at = 0;
    ForEachSubkey(key, node, [&](const Checked<KeyNode>& child, const NamespaceKey* space) {
        if (at++ != index) {
            return true;
        }
        if (space != nullptr) {
            result = Describe(*space);
        } else if (child) {
            result = Describe(*key.hive, *child);
        } else {
            result = tl::unexpected(RegistryCall::CodeOf(child.error()));
        }
        return false;
    });
    return result;
}

struct SubkeyTotals {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD longestClass = 0;
};

SubkeyTotals CountSubkeys(const KeyReference& key, const Checked<KeyNode>& node, bool wantsNames)
{
    SubkeyTotals totals;
    if (!wantsNames && key.space == nullptr && node) {
        SubkeyCursor cursor = key.hive->Subkeys(*node);
        cursor.Seek(0xFFFFFFFF);
        totals.count = cursor.Index();
        return totals;
    }
    ForEachSubkey(key, node, [&](const Checked<KeyNode>& child, const NamespaceKey* space) {
        ++totals.count;
        if (child || space != nullptr) {
            const ListedKey listed = space != nullptr ? Describe(*space) : Describe(*key.hive, *child);
            totals.longestName = std::max(totals.longestName, static_cast<DWORD>(listed.name.size()));
            totals.longestClass = std::max(totals.longestClass, static_cast<DWORD>(listed.className.size()));
        }
        return true;
    });
    return totals;
}

struct ValueTotals {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
};

/// The size of data as the A calls hand it out. Text that is too large to convert for a size gets its upper bound.
DWORD SizeForCaller(const Hive& hive, const ValueRecord& value)
{
    constexpr std::uint32_t kConvertAtMost = 1 << 20;
    if (!IsTextType(value.type)) {
        return value.size;
    }
    if (value.size > kConvertAtMost) {
        return value.size / 2 * 3;
    }
    const auto data = hive.ReadData(value);
    return data ? static_cast<DWORD>(DataForCaller(value.type, *data).size()) : value.size;
}

ValueTotals CountValues(const KeyReference& key, const Checked<KeyNode>& node, bool wantsSizes)
{
    ValueTotals totals;
    const auto values = node ? key.hive->Values(*node) : Checked<ValueListView>(ValueListView{});
    totals.count = values ? values->count : 0;
    for (DWORD i = 0; wantsSizes && i < totals.count; ++i) {
        if (const Checked<ValueRecord> value = key.hive->Value((*values)[i]); value) {
            totals.longestName = std::max(totals.longestName, static_cast<DWORD>(value->name.ToUtf8().size()));
            totals.longestData = std::max(totals.longestData, SizeForCaller(*key.hive, *value));
        }
    }
    return totals;
}

void Store(DWORD* out, DWORD value)
{
    if (out != nullptr) {
        *out = value;
    }
}

void Store(FILETIME* out, std::uint64_t time)
{
    if (out != nullptr) {
        *out = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    }
}

} // namespace

} // namespace tolvar

LSTATUS RegOpenKeyExA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result)
{
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    *result = nullptr;
    if (options != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::string_view path = subKey != nullptr ? subKey : "";
    const RegistryCall call(key, 0);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    if (path.empty() && call.State().RootOf(key) != nullptr) {
        *result = key;
        return ERROR_SUCCESS;
    }
    const Result<KeyReference> found = FollowPath(call.Key().key, path);
    if (!found) {
        return static_cast<LSTATUS>(found.error().code);
    }
    const Checked<KeyNode> node = NodeOf(*found);
    if (found->HasHive() && !node) {
        return RegistryCall::CodeOf(node.error());
    }
    auto open = std::make_shared<OpenKey>();
    open->key = *found;
    open->path = call.Key().path;
    if (!path.empty()) {
        open->path.append("\\").append(path);
    }
    open->access = (access & MAXIMUM_ALLOWED) != 0 ? KEY_ALL_ACCESS : access;
    if (call.State().accessCheck != nullptr) {
        const auto descriptor = node ? found->hive->SecurityDescriptor(*node) : Checked<std::span<const std::byte>>();
        if (!call.State().accessCheck->Grants(open->path, descriptor.value_or(std::span<const std::byte>()), access)) {
            return ERROR_ACCESS_DENIED;
        }
    }
    *result = call.State().handles.Insert(std::move(open));
    return ERROR_SUCCESS;
}

LSTATUS RegOpenKeyA(HKEY key, const char* subKey, HKEY* result)
{
    return RegOpenKeyExA(key, subKey, 0, MAXIMUM_ALLOWED, result);
}

LSTATUS RegCreateKeyExA(HKEY key, const char* subKey, DWORD reserved, const char* /*className*/, DWORD /*options*/,
                        REGSAM access, const void* /*security*/, HKEY* result, DWORD* disposition)
{
    if (subKey == nullptr || reserved != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const LSTATUS code = RegOpenKeyExA(key, subKey, 0, access, result);
    if (code == ERROR_FILE_NOT_FOUND) {
        return ERROR_WRITE_PROTECT;
    }
    if (code == ERROR_SUCCESS && disposition != nullptr) {
        *disposition = REG_OPENED_EXISTING_KEY;
    }
    return code;
}

LSTATUS RegCloseKey(HKEY key)
{
    Registry* registry = Registry::Current();
    if (registry == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    Registry::State& state = registry->Inside();
    return state.RootOf(key) != nullptr || state.handles.Remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegQueryInfoKeyA(HKEY key, char* className, DWORD* classSize, DWORD* /*reserved*/, DWORD* subKeys,
                         DWORD* longestSubKey, DWORD* longestClass, DWORD* values, DWORD* longestValueName,
                         DWORD* longestData, DWORD* securitySize, FILETIME* lastWrite)
{
    if (className != nullptr && classSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, KEY_QUERY_VALUE);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyReference& reference = call.Key().key;
    const Checked<KeyNode> node = NodeOf(reference);
    if (reference.HasHive() && !node) {
        return RegistryCall::CodeOf(node.error());
    }
    const SubkeyTotals keyTotals = CountSubkeys(reference, node, longestSubKey != nullptr || longestClass != nullptr);
    const ValueTotals valueTotals = CountValues(reference, node, longestValueName != nullptr || longestData != nullptr);
    Store(subKeys, keyTotals.count);
    Store(longestSubKey, keyTotals.longestName);
    Store(longestClass, keyTotals.longestClass);
    Store(values, valueTotals.count);
    Store(longestValueName, valueTotals.longestName);
    Store(longestData, valueTotals.longestData);
    Store(lastWrite, node ? node->lastWrite : 0);
    if (securitySize != nullptr) {
        const auto descriptor =
            node ? reference.hive->SecurityDescriptor(*node) : Checked<std::span<const std::byte>>();
        *securitySize = descriptor ? static_cast<DWORD>(descriptor->size()) : 0;
    }
    if (classSize == nullptr) {
        return ERROR_SUCCESS;
    }
    const std::string name = node ? ClassOf(*reference.hive, *node) : std::string();
    if (className == nullptr) {
        *classSize = static_cast<DWORD>(name.size());
        return ERROR_SUCCESS;
    }
    return StoreName(name, className, classSize);
}

LSTATUS RegEnumKeyExA(HKEY key, DWORD index, char* name, DWORD* nameSize, DWORD* /*reserved*/, char* className,
                      DWORD* classSize, FILETIME* lastWrite)
{
    if (name == nullptr || nameSize == nullptr || (className != nullptr && classSize == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, KEY_ENUMERATE_SUB_KEYS);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const tl::expected<ListedKey, LSTATUS> listed = SubkeyAt(call, index);
    if (!listed) {
        return listed.error();
    }
    if (className != nullptr && *classSize <= listed->className.size()) {
        return ERROR_MORE_DATA;
    }
    if (const LSTATUS code = StoreName(listed->name, name, nameSize); code != ERROR_SUCCESS) {
        return code;
    }
    Store(lastWrite, listed->lastWrite);
    return className != nullptr ? StoreName(listed->className, className, classSize) : ERROR_SUCCESS;
}

LSTATUS RegEnumKeyA(HKEY key, DWORD index, char* name, DWORD nameSize)
{
    return RegEnumKeyExA(key, index, name, &nameSize, nullptr, nullptr, nullptr, nullptr);
}
