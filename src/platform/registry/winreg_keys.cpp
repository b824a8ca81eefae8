#include "platform/registry/winreg.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/registry/caller_data.h"
#include "platform/registry/winreg_access.h"

using namespace tolvar;

namespace tolvar {

RegistryCall::RegistryCall(HKEY handle, Call call, Purpose purpose)
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
    const REGSAM needed = RightsFor(call);
    if (const RootKey* root = FindRoot(handle); root != nullptr) {
        const Result<KeyRef> key = m_state->names.Resolve(root->name);
        m_key = std::make_shared<OpenKey>();
        m_key->key = key.value_or(KeyRef());
        m_code = !key                                             ? tolvar::CodeOf(key)
                 : m_state->IsRefused(m_key->key.First(), needed) ? ERROR_ACCESS_DENIED
                                                                  : ERROR_SUCCESS;
        return;
    }
    m_key = m_state->handles.Find(handle);
    if (m_key == nullptr) {
        m_code = ERROR_INVALID_HANDLE;
    } else if (m_key->isDeleted) {
        m_code = ERROR_KEY_DELETED;
    } else if ((m_key->granted & needed) != needed) {
        m_code = ERROR_ACCESS_DENIED;
    }
}

tl::expected<KeyNode, LSTATUS> RegistryCall::Node() const noexcept
{
    const Checked<KeyNode> node = m_key->key.First().Node();
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

/// A subkey as an enumeration tells it.
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

/// What is seen at a subkey, and its node.
struct SeenKey {
    KeyRef key;
    KeyNode node;
};

SeenKey Look(const NameSpace& names, const SeenSubkey& subkey, const KeyRef& parent)
{
    const KeyRef key = subkey.key.IsOfSession() ? names.At(subkey.key.place, parent) : subkey.key;
    const Checked<KeyNode> node = subkey.key.IsOfSession() ? key.First().Node() : Checked<KeyNode>(subkey.node);
    return {key, node.value_or(subkey.node)};
}

tl::expected<ListedKey, LSTATUS> SubkeyAt(const RegistryCall& call, DWORD index, WithClass withClass)
{
    OpenKey& open = call.Key();
    const NameSpace& names = call.State().names;
    for (const KeyPart& part : open.key.Parts()) {
        if (const Checked<KeyNode> node = part.Node(); !node) {
            return tl::unexpected(RegistryCall::CodeOf(node.error()));
        }
    }
    const std::lock_guard lock(open.enumerationMutex);
    if (open.generation != call.State().generation) {
        open.enumeration = SubkeyRun(names, open.key);
        open.generation = call.State().generation;
    }
    if (open.enumeration.Index() != index) {
        open.enumeration.Seek(index);
    }
    const SeenSubkey* subkey = open.enumeration.Next();
    if (subkey == nullptr) {
        return tl::unexpected(ERROR_NO_MORE_ITEMS);
    }
    if (!subkey->isReadable) {
        return tl::unexpected(RegistryCall::CodeOf(subkey->fault));
    }
    const SeenKey seen = Look(names, *subkey, open.key);
    return ListedKey{subkey->name.ToUtf8(),
                     withClass == WithClass::kYes ? ClassOf(seen.key.First().Reader(), seen.node) : std::string(),
                     seen.node.lastWrite};
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

/// The room that all stores of a key take: more text than that does not lie in them.
std::uint64_t LengthOf(const KeyRef& key)
{
    std::uint64_t length = 0;
    for (const KeyPart& part : key.Parts()) {
        length += part.Reader().Length();
    }
    return length;
}

SubkeyTotals CountSubkeys(const NameSpace& space, const KeyRef& key, bool wantsNames, bool wantsClasses)
{
    SubkeyTotals totals;
    SubkeyRun run(space, key);
    if (!wantsNames && !wantsClasses) {
        run.Seek(0xFFFFFFFF);
        totals.count = run.Index();
        return totals;
    }
    LongestText names(LengthOf(key));
    LongestText classes(LengthOf(key));
    while (const SeenSubkey* subkey = run.Next()) {
        ++totals.count;
        if (!subkey->isReadable) {
            continue;
        }
        names.Add(subkey->name);
        if (wantsClasses) {
            const SeenKey seen = Look(space, *subkey, key);
            if (const Checked<NameView> name = seen.key.First().Reader().ClassName(seen.node); name) {
                classes.Add(*name);
            }
        }
    }
    totals.longestName = names.Size();
    totals.longestClass = classes.Size();
    return totals;
}

struct ValueTotals {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
};

ValueTotals CountValues(const KeyRef& key, bool wantsNames, bool wantsData)
{
    ValueTotals totals;
    const Checked<ValueRun> values = ValueRun::Of(key);
    totals.count = values ? values->Count() : 0;
    if (totals.count == 0 || (!wantsNames && !wantsData)) {
        return totals;
    }
    LongestText names(LengthOf(key));
    LongestText data(LengthOf(key));
    for (DWORD i = 0; i < totals.count; ++i) {
        const Checked<SeenValue> seen = values->At(i);
        if (!seen) {
            continue;
        }
        const ValueRecord& value = seen->record;
        if (wantsNames) {
            names.Add(value.name);
        }
        const bool isText = IsTextType(value.type);
        const std::size_t atMost = isText ? value.size / 2 * std::size_t{3} : value.size;
        if (wantsData && atMost > data.Size() && seen->hive->Data(value)) { // what can't be had needs no room
            data.Add(isText ? value.size : 0, atMost,
                     [&] { return DataForCaller(*seen->hive, value, {}).value_or(0); });
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
    if (options != 0 && options != REG_OPTION_OPEN_LINK) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::string_view path = subKey != nullptr ? subKey : "";
    const RegistryCall call(key, Call::kReach);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    if (path.empty() && FindRoot(key) != nullptr) {
        *result = key;
        return ERROR_SUCCESS;
    }
    Registry::State& state = call.State();
    const Result<KeyRef> found = state.names.Resolve(
        call.Key().key, path, options == REG_OPTION_OPEN_LINK ? LastLink::kOpen : LastLink::kFollow);
    if (!found) {
        return CodeOf(found);
    }
    if (const Checked<KeyNode> node = found->First().Node(); !node) {
        return RegistryCall::CodeOf(node.error());
    }
    auto open = std::make_shared<OpenKey>();
    open->key = *found;
    open->granted = state.Grant(found->First(), access);
    if (open->granted == 0 && access != 0) {
        return ERROR_ACCESS_DENIED;
    }
    open->NoteFlushed();
    *result = state.handles.Insert(std::move(open));
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
    return FindRoot(key) != nullptr || state.handles.Remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegQueryInfoKeyA(HKEY key, char* className, DWORD* classSize, DWORD* /*reserved*/, DWORD* subKeys,
                         DWORD* longestSubKey, DWORD* longestClass, DWORD* values, DWORD* longestValueName,
                         DWORD* longestData, DWORD* securitySize, FILETIME* lastWrite)
{
    if (className != nullptr && classSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, Call::kQueryInfo);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyRef& reference = call.Key().key;
    const tl::expected<KeyNode, LSTATUS> node = call.Node();
    if (!node) {
        return node.error();
    }
    const Hive& hive = reference.First().Reader();
    const SubkeyTotals keyTotals =
        CountSubkeys(call.State().names, reference, longestSubKey != nullptr, longestClass != nullptr);
    const ValueTotals valueTotals = CountValues(reference, longestValueName != nullptr, longestData != nullptr);
    Store(subKeys, keyTotals.count);
    Store(longestSubKey, keyTotals.longestName);
    Store(longestClass, keyTotals.longestClass);
    Store(values, valueTotals.count);
    Store(longestValueName, valueTotals.longestName);
    Store(longestData, valueTotals.longestData);
    Store(lastWrite, node->lastWrite);
    if (securitySize != nullptr) {
        const auto descriptor = hive.SecurityDescriptor(*node);
        *securitySize = descriptor ? static_cast<DWORD>(descriptor->size()) : 0;
    }
    if (classSize == nullptr) {
        return ERROR_SUCCESS;
    }
    const std::string name = ClassOf(hive, *node);
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
    const RegistryCall call(key, Call::kEnumerateSubkeys);
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
