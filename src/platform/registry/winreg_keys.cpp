#include "platform/registry/winreg.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/registry/key_path.h"
#include "platform/registry/key_text.h"
#include "platform/registry/subkey_run.h"
#include "platform/registry/winreg_access.h"

using namespace tolvar;

namespace tolvar {

RegistryCall::RegistryCall(HKEY handle, REGSAM needed, Purpose purpose)
{
    Registry* registry = Registry::Current();
    if (registry == nullptr || handle == nullptr) {
        m_code = ERROR_INVALID_HANDLE;
        return;
    }
    m_state = &registry->Inside();
    if (purpose == Purpose::kWrite) {
        m_alone = std::unique_lock(m_state->lock);
    } else {
        m_shared = std::shared_lock(m_state->lock);
    }
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
    } else if (m_key->isDeleted) {
        m_code = ERROR_KEY_DELETED;
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
    std::string className; ///< only where it is asked for
    std::uint64_t lastWrite = 0;
};

/// Whether a caller wants to have the class of a key too. It may be a hundred times as long as the key's name.
enum class WithClass { kNo, kYes };

std::string ClassOf(const Hive& hive, const KeyNode& node)
{
    const Checked<NameView> name = hive.ClassName(node);
    return name ? name->ToUtf8() : std::string();
}

ListedKey Describe(const Hive& hive, const KeyNode& node, WithClass withClass)
{
    return {node.name.ToUtf8(), withClass == WithClass::kYes ? ClassOf(hive, node) : std::string(), node.lastWrite};
}

ListedKey Describe(const KeyReference& key, WithClass withClass)
{
    ListedKey listed;
    if (const Checked<KeyNode> node = NodeOf(key); node) {
        listed = Describe(*key.hive, *node, withClass);
    }
    listed.name = ToUtf8(key.space->name);
    return listed;
}

/// Goes to subkey number `index` among those of the hive that are not told as keys of the name space, from where the
/// last enumeration stood. Answers its offset; nil behind the last, and `open.enumerationIndex` is then their number.
CellOffset SeekSubkey(OpenKey& open, const KeyNode& node, DWORD index)
{
    const Hive& hive = *open.key.hive;
    const bool hasMounts = open.key.space != nullptr && !open.key.space->children.empty();
    if (!open.isEnumerating || index < open.enumerationIndex) {
        open.enumeration = hive.Subkeys(node);
        open.enumerationIndex = 0;
        open.isEnumerating = true;
    }
    if (!hasMounts) {
        open.enumeration.Seek(index);
        open.enumerationIndex = open.enumeration.Index();
    }
    while (true) {
        const Checked<CellOffset> next = open.enumeration.Next();
        if (!next) { // a damaged leaf has no subkeys to count
            continue;
        }
        if (next->IsNil()) {
            return {};
        }
        const Checked<NameView> name = hasMounts ? hive.KeyName(*next) : tl::unexpected(HiveFault{});
        if (name && open.key.IsHidden(*name)) {
            continue;
        }
        if (open.enumerationIndex++ == index) {
            return *next;
        }
    }
}

tl::expected<ListedKey, LSTATUS> SubkeyAt(const RegistryCall& call, DWORD index, WithClass withClass)
{
    OpenKey& open = call.Key();
    const KeyReference& key = open.key;
    DWORD inHive = 0;
    if (key.HasHive()) {
        const Checked<KeyNode> node = key.Node();
        if (!node) {
            return tl::unexpected(RegistryCall::CodeOf(node.error()));
        }
        const std::lock_guard lock(open.enumerationMutex);
        if (const CellOffset found = SeekSubkey(open, *node, index); !found.IsNil()) {
            const Checked<KeyNode> child = key.hive->Key(found);
            return child ? tl::expected<ListedKey, LSTATUS>(Describe(*key.hive, *child, withClass))
                         : tl::unexpected(RegistryCall::CodeOf(child.error()));
        }
        inHive = open.enumerationIndex;
    }
    if (key.space == nullptr || index - inHive >= key.space->children.size()) {
        return tl::unexpected(ERROR_NO_MORE_ITEMS);
    }
    return Describe(key.Child(*key.space->children[index - inHive]), withClass);
}

/// The longest of many texts in UTF-8. It is exact as long as the texts can lie in the hive one beside the other. Where
/// they are more than that they lie inside each other, and to look at each would take time beyond all bounds: then an
/// upper bound stands for the length.
class LongestText {
public:
    explicit LongestText(std::uint64_t hiveLength) : m_bytesLeft(hiveLength) {}

    /// `bytes`: how many are stored. `atMost`: how many they can become. `measure` answers how many they do become.
    template <class Measure>
    void Add(std::size_t bytes, std::size_t atMost, Measure&& measure)
    {
        if (atMost <= m_longest) {
            return;
        }
        const bool isBound = bytes > m_bytesLeft;
        m_bytesLeft -= isBound ? 0 : bytes;
        m_longest = std::max(m_longest, isBound ? atMost : measure());
    }
    void Add(const NameView& name)
    {
        Add(name.bytes, name.size() * (name.isLatin1 ? 2 : 3), [&] { return name.ToUtf8().size(); });
    }
    [[nodiscard]] DWORD Size() const { return static_cast<DWORD>(m_longest); }

private:
    std::uint64_t m_bytesLeft;
    std::size_t m_longest = 0;
};

struct SubkeyTotals {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD longestClass = 0;
};

SubkeyTotals CountSubkeys(const KeyReference& key, const Checked<KeyNode>& node, bool wantsNames, bool wantsClasses)
{
    SubkeyTotals totals;
    const bool hasMounts = key.space != nullptr && !key.space->children.empty();
    if (!wantsNames && !wantsClasses && !hasMounts && node) {
        SubkeyCursor cursor = key.hive->Subkeys(*node);
        cursor.Seek(0xFFFFFFFF);
        totals.count = cursor.Index();
        return totals;
    }
    LongestText names(node ? key.hive->Length() : 0);
    LongestText classes(node ? key.hive->Length() : 0);
    const auto addClass = [&](const Hive& hive, const KeyNode& child) {
        const Checked<NameView> name = wantsClasses ? hive.ClassName(child) : Checked<NameView>();
        if (name) {
            classes.Add(*name);
        }
    };
    ForEachSubkey(key, node, [&](const Checked<KeyNode>& child, const NamespaceKey* space) {
        ++totals.count;
        if (space != nullptr) {
            const std::size_t size = ToUtf8(space->name).size();
            names.Add(0, size, [size] { return size; });
            const KeyReference reference = key.Child(*space);
            if (const Checked<KeyNode> mounted = NodeOf(reference); mounted) {
                addClass(*reference.hive, *mounted);
            }
        } else if (child) {
            names.Add(child->name);
            addClass(*key.hive, *child);
        }
        return true;
    });
    totals.longestName = names.Size();
    totals.longestClass = classes.Size();
    return totals;
}

struct ValueTotals {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
};

ValueTotals CountValues(const KeyReference& key, const Checked<KeyNode>& node, bool wantsNames, bool wantsData)
{
    ValueTotals totals;
    const auto values = node ? key.hive->Values(*node) : Checked<ValueListView>(ValueListView{});
    totals.count = values ? values->count : 0;
    if (totals.count == 0 || (!wantsNames && !wantsData)) {
        return totals;
    }
    LongestText names(key.hive->Length());
    LongestText data(key.hive->Length());
    for (DWORD i = 0; i < totals.count; ++i) {
        const Checked<ValueRecord> value = key.hive->Value((*values)[i]);
        if (!value) {
            continue;
        }
        if (wantsNames) {
            names.Add(value->name);
        }
        const bool isText = IsTextType(value->type);
        const std::size_t atMost = isText ? value->size / 2 * std::size_t{3} : value->size;
        if (wantsData && atMost > data.Size() && key.hive->Data(*value)) { // what can't be had needs no room
            data.Add(isText ? value->size : 0, atMost,
                     [&] { return DataForCaller(*key.hive, *value, {}).value_or(0); });
        }
    }
    totals.longestName = names.Size();
    totals.longestData = data.Size();
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
    for (const std::string_view name : PathNames(path)) {
        AppendPath(open->path, name);
    }
    open->access = (access & MAXIMUM_ALLOWED) != 0 ? KEY_ALL_ACCESS : access;
    if (!call.State().Grants(open->path, *found, access)) {
        return ERROR_ACCESS_DENIED;
    }
    *result = call.State().handles.Insert(std::move(open));
    return ERROR_SUCCESS;
}

LSTATUS RegOpenKeyA(HKEY key, const char* subKey, HKEY* result)
{
    return RegOpenKeyExA(key, subKey, 0, MAXIMUM_ALLOWED, result);
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
    const SubkeyTotals keyTotals = CountSubkeys(reference, node, longestSubKey != nullptr, longestClass != nullptr);
    const ValueTotals valueTotals = CountValues(reference, node, longestValueName != nullptr, longestData != nullptr);
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
    const tl::expected<ListedKey, LSTATUS> listed =
        SubkeyAt(call, index, className != nullptr ? WithClass::kYes : WithClass::kNo);
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
