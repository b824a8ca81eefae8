#include <algorithm>
#include <cstring>
#include <string>
#include <unordered_set>

#include "platform/files/durable_write.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_walk.h"
#include "platform/registry/key_path.h"
#include "platform/registry/key_text.h"
#include "platform/registry/stored_value.h"
#include "platform/registry/winreg.h"
#include "platform/registry/writing_call.h"
#include "platform/system/version.h"

using namespace tolvar;

namespace {

/// Makes the subkey `name` of `parent` in its hive.
tl::expected<KeyReference, LSTATUS> MakeSubkey(const WritingCall& call, const KeyReference& parent,
                                               const std::string& parentPath, std::u16string_view name,
                                               std::u16string_view className)
{
    const tl::expected<HiveWriter*, LSTATUS> writer = call.WriterOf(parent);
    if (!writer) {
        return tl::unexpected(writer.error());
    }
    if (!call.State().Grants(parentPath, parent, KEY_CREATE_SUB_KEY)) {
        return tl::unexpected(ERROR_ACCESS_DENIED);
    }
    const Result<CellOffset> made = (*writer)->CreateKey(parent.cell, name, className);
    if (!made) {
        return tl::unexpected(CodeOf(made));
    }
    return KeyReference{nullptr, parent.hive, *made};
}

/// The key that `subKey` names below the handle's, for a call that changes the key itself and not what is in it.
struct NamedKey {
    LSTATUS code = ERROR_SUCCESS;
    KeyReference key;
    std::string path;
    HiveWriter* writer = nullptr;
};

NamedKey FindForChange(const WritingCall& call, const char* subKey)
{
    NamedKey named;
    if (call.Code() != ERROR_SUCCESS || subKey == nullptr) {
        named.code = call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_INVALID_PARAMETER;
        return named;
    }
    const Result<KeyReference> found = FollowPath(call.Key().key, subKey);
    if (!found) {
        named.code = CodeOf(found);
        return named;
    }
    named.key = *found;
    named.path = JoinPath(call.Key().path, subKey);
    const tl::expected<HiveWriter*, LSTATUS> writer = call.WriterOf(*found);
    if (found->space != nullptr || !call.State().Grants(named.path, *found, DELETE)) {
        named.code = ERROR_ACCESS_DENIED; // a root or a mount point belongs to the session, not to the hive
    } else if (!writer) {
        named.code = writer.error();
    } else {
        named.writer = *writer;
    }
    return named;
}

LSTATUS DeleteOne(Registry::State& state, const NamedKey& named, CellOffset cell)
{
    const Result<void> deleted = named.writer->DeleteKey(cell);
    if (deleted) {
        state.handles.ForEach([&](OpenKey& open) {
            open.isDeleted = open.isDeleted || (open.key.hive == named.key.hive && open.key.cell == cell);
        });
    }
    return CodeOf(deleted);
}

/// Deletes a key with all below it, deepest first. How deep it goes is the format's to say.
LSTATUS DeleteTree(Registry::State& state, const NamedKey& named)
{
    std::vector<CellOffset> pending = {named.key.cell};
    while (!pending.empty()) {
        const Checked<KeyNode> node = named.key.hive->Key(pending.back());
        if (!node || pending.size() > kMaxDepth) {
            return ERROR_REGISTRY_CORRUPT;
        }
        const Checked<CellOffset> first = named.key.hive->Subkeys(*node).Next();
        if (first && !first->IsNil()) {
            pending.push_back(*first);
            continue;
        }
        if (const LSTATUS code = DeleteOne(state, named, pending.back()); code != ERROR_SUCCESS) {
            return code;
        }
        pending.pop_back();
    }
    return ERROR_SUCCESS;
}

/// Whether a key lies below another one, by the parents that the keys name.
bool IsBelow(const Hive& hive, CellOffset cell, CellOffset ancestor)
{
    for (unsigned level = 0; level < kMaxDepth && cell != hive.Root() && cell != ancestor; ++level) {
        const Checked<KeyNode> node = hive.Key(cell);
        if (!node) {
            return true; // nothing good can come of such a handle
        }
        cell = node->parent;
        if (cell == ancestor) {
            return true;
        }
    }
    return false;
}

/// Changes a value of the handle's key: `change` gets the writer, the key's cell and the value's name.
template <class Change>
LSTATUS ChangeValue(HKEY key, const char* name, Change&& change)
{
    WritingCall call(key, KEY_SET_VALUE);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const std::optional<std::u16string> text = ToUtf16(name != nullptr ? name : "");
    if (!text) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    const tl::expected<HiveWriter*, LSTATUS> writer = call.WriterOf(call.Key().key);
    if (!writer) {
        return writer.error();
    }
    const Result<void> changed = change(**writer, call.Key().key.cell, *text);
    if (changed) {
        call.NoteChange(call.Key().path, KeyChange::kValues);
    }
    return CodeOf(changed);
}

} // namespace

LSTATUS RegCreateKeyExA(HKEY key, const char* subKey, DWORD reserved, const char* className, DWORD options,
                        REGSAM access, const void* /*security*/, HKEY* result, DWORD* disposition)
{
    if (subKey == nullptr || result == nullptr || reserved != 0 ||
        (options != 0 && options != REG_OPTION_CREATE_LINK)) {
        return ERROR_INVALID_PARAMETER;
    }
    *result = nullptr;
    bool isNew = false;
    {
        WritingCall call(key, 0);
        const std::optional<std::u16string> path = ToUtf16(subKey);
        const std::optional<std::u16string> classText = ToUtf16(className != nullptr ? className : "");
        if (call.Code() != ERROR_SUCCESS || !path || !classText) {
            return call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_NO_UNICODE_TRANSLATION;
        }
        KeyReference at = call.Key().key;
        std::string atPath = call.Key().path;
        std::u16string_view rest = *path;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(u'\\'), rest.size());
            const std::u16string_view name = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (name.empty()) {
                continue;
            }
            if (const Result<KeyReference> found = at.Subkey(name); found) {
                at = *found;
            } else if (found.error().code != ErrorCode::kFileNotFound) {
                return CodeOf(found);
            } else {
                const auto made = MakeSubkey(call, at, atPath, name, rest.empty() ? *classText : std::u16string_view());
                if (!made) {
                    return made.error();
                }
                if (!isNew) {
                    call.NoteChange(atPath, KeyChange::kSubkeys);
                }
                isNew = true;
                at = *made;
                if (rest.empty() && options == REG_OPTION_CREATE_LINK) {
                    static_cast<void>((*call.WriterOf(at))->MakeLink(at.cell)); // a key just made is empty
                }
            }
            atPath = JoinPath(atPath, ToUtf8(name));
        }
    }
    if (disposition != nullptr) {
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    return RegOpenKeyExA(key, subKey, 0, access, result);
}

LSTATUS RegSetValueExA(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)
{
    if (reserved != 0 || (data == nullptr && size != 0)) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::optional<std::vector<std::byte>> stored = DataFromCaller(type, {data, size});
    if (!stored) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    return ChangeValue(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.SetValue(cell, text, type, *stored);
    });
}

LSTATUS tolvar::SetStoredValue(HKEY key, const char* name, DWORD type, std::span<const BYTE> data)
{
    return ChangeValue(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.SetValue(cell, text, type, std::as_bytes(data));
    });
}

LSTATUS RegDeleteValueA(HKEY key, const char* name)
{
    return ChangeValue(key, name, [](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.DeleteValue(cell, text);
    });
}

LSTATUS RegRenameValue(HKEY key, const char* name, const char* newName)
{
    const std::optional<std::u16string> newText = ToUtf16(newName != nullptr ? newName : "");
    if (!newText) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    return ChangeValue(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.RenameValue(cell, text, *newText);
    });
}

LSTATUS RegDeleteKeyA(HKEY key, const char* subKey)
{
    WritingCall call(key, 0);
    const NamedKey named = FindForChange(call, subKey);
    if (named.code != ERROR_SUCCESS) {
        return named.code;
    }
    const bool isOneKey = GetPlatformVersion().IsNT();
    const LSTATUS code = isOneKey ? DeleteOne(call.State(), named, named.key.cell) : DeleteTree(call.State(), named);
    if (code == ERROR_SUCCESS || !isOneKey) { // a tree may have lost some of its keys
        call.NoteChange(ParentPath(named.path), KeyChange::kSubkeys);
    }
    return code;
}

LSTATUS RegDeleteTreeA(HKEY key, const char* subKey)
{
    WritingCall call(key, 0);
    const NamedKey named = FindForChange(call, subKey);
    if (named.code != ERROR_SUCCESS) {
        return named.code;
    }
    std::unordered_set<std::uint32_t> gone;
    const Result<void> deleted =
        named.writer->DeleteTree(named.key.cell, [&gone](CellOffset cell) { gone.insert(cell.value); });
    if (!deleted) {
        return CodeOf(deleted);
    }
    call.State().handles.ForEach([&](OpenKey& open) {
        open.isDeleted = open.isDeleted || (open.key.hive == named.key.hive && gone.contains(open.key.cell.value));
    });
    call.NoteChange(ParentPath(named.path), KeyChange::kSubkeys);
    return ERROR_SUCCESS;
}

LSTATUS RegRenameKey(HKEY key, const char* subKey, const char* newName)
{
    WritingCall call(key, 0);
    const std::optional<std::u16string> name = ToUtf16(newName != nullptr ? newName : "");
    if (!name) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    const NamedKey named = FindForChange(call, subKey);
    if (named.code != ERROR_SUCCESS) {
        return named.code;
    }
    const Result<CellOffset> moved = named.writer->RenameKey(named.key.cell, *name);
    if (!moved) {
        return CodeOf(moved);
    }
    const std::string newPath = JoinPath(ParentPath(named.path), newName);
    call.State().handles.ForEach([&](OpenKey& open) {
        if (open.key.hive == named.key.hive && open.key.cell == named.key.cell) {
            open.key.cell = *moved;
            open.path = newPath;
        }
    });
    call.NoteChange(ParentPath(named.path), KeyChange::kSubkeys);
    return ERROR_SUCCESS;
}

LSTATUS RegFlushKey(HKEY key)
{
    const WritingCall call(key, 0);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    WritableHive* hive = call.State().WriterOf(call.Key().key.hive);
    return hive != nullptr ? CodeOf(hive->Flush()) : ERROR_SUCCESS;
}

LSTATUS RegSaveKeyA(HKEY key, const char* file, const void* /*security*/)
{
    if (file == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, 0);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyReference& reference = call.Key().key;
    if (!reference.HasHive()) {
        return ERROR_ACCESS_DENIED;
    }
    bool isWhole = true;
    HiveComposer composer(*reference.hive, {}, [&isWhole](const HiveFault&) { isWhole = false; });
    const Result<std::vector<std::byte>> content = composer.Compose(reference.cell);
    if (!content) {
        return CodeOf(content);
    }
    return isWhole ? CodeOf(WriteNewFile(SystemFiles(), file, *content)) : ERROR_REGISTRY_CORRUPT;
}

LSTATUS RegRestoreKeyA(HKEY key, const char* file, DWORD flags)
{
    constexpr DWORD kNoLazyFlush = 4;
    if (file == nullptr || (flags != 0 && flags != kNoLazyFlush)) {
        return ERROR_INVALID_PARAMETER;
    }
    RecoveryReport recovery;
    const Result<Hive> source = OpenForReading(SystemFiles(), file, recovery);
    if (!source) {
        return CodeOf(source);
    }
    WritingCall call(key, 0);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyReference target = call.Key().key;
    const tl::expected<HiveWriter*, LSTATUS> writer = call.WriterOf(target);
    if (!writer) {
        return writer.error();
    }
    if (!call.State().Grants(call.Key().path, target, KEY_ALL_ACCESS)) {
        return ERROR_ACCESS_DENIED;
    }
    // By the keys themselves and not by their paths: one key may be open by several of them.
    call.State().handles.ForEach([&](OpenKey& open) {
        open.isDeleted =
            open.isDeleted || (open.key.hive == target.hive && IsBelow(*target.hive, open.key.cell, target.cell));
    });
    const Result<void> replaced = (*writer)->Replace(target.cell, *source, source->Root());
    call.NoteChange(call.Key().path, KeyChange::kAll);
    return CodeOf(replaced);
}
