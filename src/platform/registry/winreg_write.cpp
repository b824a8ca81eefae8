#include <algorithm>
#include <array>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/files/fresh_file.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_recovery.h"
#include "platform/hive/hive_walk.h"
#include "platform/registry/caller_data.h"
#include "platform/registry/key_image.h"
#include "platform/registry/key_path.h"
#include "platform/registry/stored_value.h"
#include "platform/registry/winreg.h"
#include "platform/registry/writing_call.h"
#include "platform/system/text.h"
#include "platform/system/version.h"

using namespace tolvar;

namespace {

/// A call on the key of the handle itself needs its rights there; one that names another key below it doesn't.
Call ReachOf(const char* subKey, Call call)
{
    return subKey == nullptr || *subKey == '\0' ? call : Call::kReach;
}

/// Makes the subkey `name` of `parent`.
tl::expected<KeyRef, LSTATUS> MakeSubkey(const WritingCall& call, const KeyRef& parent, std::u16string_view name,
                                         std::u16string_view className)
{
    const KeyPart& part = parent.ForSubkeys();
    const Result<HiveWriter*> writer = part.mount->Writer();
    if (!writer) {
        return tl::unexpected(CodeOf(writer));
    }
    if (call.State().IsRefused(part, RightsFor(Call::kCreateSubkey))) {
        return tl::unexpected(ERROR_ACCESS_DENIED);
    }
    const Result<CellOffset> made = (*writer)->CreateKey(part.cell, name, className);
    return made ? tl::expected<KeyRef, LSTATUS>(KeyRef{{KeyPart{part.mount, *made}, {}}, {}, {}})
                : tl::unexpected(CodeOf(made));
}

/// The key that `subKey` names below the handle's, for a call that changes the key itself and not what is in it. A link
/// that it names is the key.
struct NamedKey {
    LSTATUS code = ERROR_SUCCESS;
    KeyRef key;
    std::array<HiveWriter*, 2> writers{}; ///< of its parts
};

NamedKey FindForChange(const WritingCall& call, const char* subKey, Call change)
{
    NamedKey named;
    if (call.Code() != ERROR_SUCCESS || subKey == nullptr) {
        named.code = call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_INVALID_PARAMETER;
        return named;
    }
    const Result<KeyRef> found = call.State().names.Resolve(call.Key().key, subKey, LastLink::kOpen);
    if (!found) {
        named.code = CodeOf(found);
        return named;
    }
    named.key = *found;
    if (found->IsOfSession()) {
        named.code = ERROR_ACCESS_DENIED; // a root or a mount point belongs to the session, not to the hive
        return named;
    }
    for (std::size_t i = 0; i < found->Parts().size(); ++i) {
        const KeyPart& part = found->parts[i];
        const Result<HiveWriter*> writer = part.mount->Writer();
        if (call.State().IsRefused(part, RightsFor(change)) || part.cell == part.Reader().Root()) {
            named.code = ERROR_ACCESS_DENIED;
        } else if (!writer) {
            named.code = CodeOf(writer);
        } else {
            named.writers[i] = *writer;
        }
        if (named.code != ERROR_SUCCESS) {
            return named;
        }
    }
    return named;
}

/// The stored key above, which is there to be told as changed.
KeyPart ParentOf(const KeyPart& part)
{
    const Checked<KeyNode> node = part.Node();
    return {part.mount, node ? node->parent : part.cell};
}

/// Takes from all handles the keys that `isGone` names. A handle to a merged key keeps the part that is left.
template <class IsGone>
void EndHandles(Registry::State& state, IsGone&& isGone)
{
    state.handles.ForEach([&](OpenKey& open) {
        KeyRef& key = open.key;
        if (key.IsMerged() && isGone(key.parts[1])) {
            key.parts[1] = {};
            key.view = {};
        }
        if (!isGone(key.First())) {
            return;
        }
        open.isDeleted = open.isDeleted || !key.IsMerged();
        if (key.IsMerged()) {
            key.parts = {key.parts[1], KeyPart{}};
            key.view = {};
        }
    });
}

LSTATUS DeleteOne(Registry::State& state, HiveWriter& writer, const KeyPart& part)
{
    const Result<void> deleted = writer.DeleteKey(part.cell);
    if (deleted) {
        EndHandles(state, [&part](const KeyPart& open) { return open == part; });
    }
    return CodeOf(deleted);
}

/// Deletes a stored key with all below it, or nothing.
LSTATUS DeleteTree(Registry::State& state, HiveWriter& writer, const KeyPart& part)
{
    std::unordered_set<std::uint32_t> gone;
    const Result<void> deleted = writer.DeleteTree(part.cell, [&gone](CellOffset cell) { gone.insert(cell.value); });
    if (deleted) {
        EndHandles(state,
                   [&](const KeyPart& open) { return open.mount == part.mount && gone.contains(open.cell.value); });
    }
    return CodeOf(deleted);
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

/// Makes the key of a call a copy of the root of `source`, and ends the handles to what was below it.
Result<void> ReplaceKey(WritingCall& call, const Hive& source)
{
    if (call.Key().key.IsMerged()) {
        return Failure(ErrorCode::kNotSupported, "a merged key");
    }
    const KeyPart target = call.Key().key.First();
    const Result<HiveWriter*> writer = target.mount->Writer();
    if (!writer) {
        return tl::unexpected(writer.error());
    }
    std::vector<KeyPart> below; // by the keys themselves and not by their paths: one key may be open by several of them
    call.State().handles.ForEach([&](const OpenKey& open) {
        for (const KeyPart& part : open.key.Parts()) {
            if (part.mount == target.mount && IsBelow(target.Reader(), part.cell, target.cell)) {
                below.push_back(part);
            }
        }
    });
    auto replaced = (*writer)->Replace(target.cell, source, source.Root());
    if (replaced) {
        EndHandles(call.State(),
                   [&below](const KeyPart& open) { return std::ranges::find(below, open) != below.end(); });
        call.NoteChange(target, KeyChange::kAll);
    }
    return replaced;
}

/// Changes values of the handle's key in one of its parts: `change` gets the writer, the key's cell and the name.
template <class Change>
Result<void> ChangePart(WritingCall& call, const KeyPart& part, std::u16string_view name, Change&& change)
{
    const Result<HiveWriter*> writer = part.mount->Writer();
    if (!writer) {
        return tl::unexpected(writer.error());
    }
    const Result<void> changed = change(**writer, part.cell, name);
    if (changed) {
        call.NoteChange(part, KeyChange::kValues);
    }
    return changed;
}

/// Stores a value of the handle's key.
template <class Change>
LSTATUS StoreInKey(HKEY key, const char* name, Change&& change)
{
    WritingCall call(key, Call::kSetValue);
    const std::optional<std::u16string> text = ToUtf16(name != nullptr ? name : "");
    if (call.Code() != ERROR_SUCCESS || !text) {
        return call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_NO_UNICODE_TRANSLATION;
    }
    return CodeOf(ChangePart(call, call.Key().key.ForValues(), *text, change));
}

/// Changes a value of the handle's key in every part that has it.
template <class Change>
LSTATUS ChangeInKey(HKEY key, const char* name, Change&& change)
{
    WritingCall call(key, Call::kSetValue);
    const std::optional<std::u16string> text = ToUtf16(name != nullptr ? name : "");
    if (call.Code() != ERROR_SUCCESS || !text) {
        return call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_NO_UNICODE_TRANSLATION;
    }
    const KeyRef target = call.Key().key;
    bool isFound = false;
    for (const KeyPart& part : target.Parts()) {
        const Result<void> changed = ChangePart(call, part, *text, change);
        const bool isMissing = !changed && changed.error().code == ErrorCode::kFileNotFound;
        if (!changed && !isMissing) {
            return CodeOf(changed);
        }
        isFound = isFound || !isMissing;
    }
    return isFound ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

/// Opens or makes what `path` names below the handle's key, name by name.
struct MadeKey {
    LSTATUS code = ERROR_SUCCESS;
    bool isNew = false;
};

MadeKey MakeKeys(WritingCall& call, std::u16string_view path, std::u16string_view className, DWORD options)
{
    MadeKey result;
    KeyRef at = call.Key().key;
    unsigned links = 0;
    const PathUnits names(path);
    for (auto name = names.begin(); name != names.end(); ++name) {
        const bool isLast = name.IsLast();
        const Result<KeyRef> found = call.State().names.Subkey(
            at, *name, isLast && options == REG_OPTION_OPEN_LINK ? LastLink::kOpen : LastLink::kFollow, links);
        if (found) {
            at = *found;
            continue;
        }
        const auto made = found.error().code != ErrorCode::kFileNotFound
                              ? tl::unexpected(CodeOf(found))
                              : MakeSubkey(call, at, *name, isLast ? className : std::u16string_view());
        if (!made) {
            result.code = made.error();
            return result;
        }
        if (!result.isNew) { // the topmost key with something new below it
            call.NoteChange(at.ForSubkeys(), KeyChange::kSubkeys);
        }
        result.isNew = true;
        at = *made;
        if (isLast && options == REG_OPTION_CREATE_LINK) {
            static_cast<void>((*at.First().mount->Writer())->MakeLink(at.First().cell)); // a key just made is empty
        }
    }
    return result;
}

} // namespace

LSTATUS RegCreateKeyExA(HKEY key, const char* subKey, DWORD reserved, const char* className, DWORD options,
                        REGSAM access, const void* /*security*/, HKEY* result, DWORD* disposition)
{
    const bool isKnown = options == 0 || options == REG_OPTION_CREATE_LINK || options == REG_OPTION_OPEN_LINK;
    if (subKey == nullptr || result == nullptr || reserved != 0 || !isKnown) {
        return ERROR_INVALID_PARAMETER;
    }
    *result = nullptr;
    bool isNew = false;
    {
        WritingCall call(key, Call::kReach);
        const std::optional<std::u16string> path = ToUtf16(subKey);
        const std::optional<std::u16string> classText = ToUtf16(className != nullptr ? className : "");
        if (call.Code() != ERROR_SUCCESS || !path || !classText) {
            return call.Code() != ERROR_SUCCESS ? call.Code() : ERROR_NO_UNICODE_TRANSLATION;
        }
        const MadeKey made = MakeKeys(call, *path, *classText, options);
        if (made.code != ERROR_SUCCESS) {
            return made.code;
        }
        isNew = made.isNew;
    }
    if (disposition != nullptr) {
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    // A link that was just made leads nowhere yet: whoever makes one wants to say where.
    const bool isLink = options == REG_OPTION_OPEN_LINK || (isNew && options == REG_OPTION_CREATE_LINK);
    return RegOpenKeyExA(key, subKey, isLink ? REG_OPTION_OPEN_LINK : 0, access, result);
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
    return StoreInKey(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.SetValue(cell, text, type, *stored);
    });
}

LSTATUS tolvar::SetStoredValue(HKEY key, const char* name, DWORD type, std::span<const BYTE> data)
{
    return StoreInKey(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.SetValue(cell, text, type, std::as_bytes(data));
    });
}

LSTATUS RegDeleteValueA(HKEY key, const char* name)
{
    return ChangeInKey(key, name, [](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.DeleteValue(cell, text);
    });
}

LSTATUS RegRenameValue(HKEY key, const char* name, const char* newName)
{
    const std::optional<std::u16string> newText = ToUtf16(newName != nullptr ? newName : "");
    if (!newText) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    return ChangeInKey(key, name, [&](HiveWriter& writer, CellOffset cell, std::u16string_view text) {
        return writer.RenameValue(cell, text, *newText);
    });
}

LSTATUS RegDeleteKeyA(HKEY key, const char* subKey)
{
    if (!GetPlatformVersion().IsNT()) {
        return RegDeleteTreeA(key, subKey);
    }
    WritingCall call(key, ReachOf(subKey, Call::kDelete));
    const NamedKey named = FindForChange(call, subKey, Call::kDelete);
    const bool hasSubkeys =
        named.code == ERROR_SUCCESS && std::ranges::any_of(named.key.Parts(), [](const KeyPart& part) {
            const Checked<KeyNode> node = part.Node();
            return !node || node->subkeyCount != 0;
        });
    LSTATUS code = hasSubkeys ? ERROR_ACCESS_DENIED : named.code; // before one of two parts goes
    for (std::size_t i = 0; code == ERROR_SUCCESS && i < named.key.Parts().size(); ++i) {
        const KeyPart parent = ParentOf(named.key.parts[i]);
        code = DeleteOne(call.State(), *named.writers[i], named.key.parts[i]);
        if (code == ERROR_SUCCESS) {
            call.NoteChange(parent, KeyChange::kSubkeys);
        }
    }
    return code;
}

LSTATUS RegDeleteTreeA(HKEY key, const char* subKey)
{
    WritingCall call(key, ReachOf(subKey, Call::kDelete));
    const NamedKey named = FindForChange(call, subKey, Call::kDelete);
    LSTATUS code = named.code;
    for (std::size_t i = 0; code == ERROR_SUCCESS && i < named.key.Parts().size(); ++i) {
        const KeyPart parent = ParentOf(named.key.parts[i]);
        code = DeleteTree(call.State(), *named.writers[i], named.key.parts[i]);
        if (code == ERROR_SUCCESS) {
            call.NoteChange(parent, KeyChange::kSubkeys);
        }
    }
    return code;
}

LSTATUS RegRenameKey(HKEY key, const char* subKey, const char* newName)
{
    WritingCall call(key, ReachOf(subKey, Call::kRename));
    const std::optional<std::u16string> name = ToUtf16(newName != nullptr ? newName : "");
    if (!name) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    const NamedKey named = FindForChange(call, subKey, Call::kRename);
    LSTATUS code = named.code;
    for (std::size_t i = 0; code == ERROR_SUCCESS && i < named.key.Parts().size(); ++i) {
        const KeyPart part = named.key.parts[i];
        const Result<CellOffset> moved = named.writers[i]->RenameKey(part.cell, *name);
        code = CodeOf(moved);
        if (moved) {
            call.State().handles.ForEach([&](OpenKey& open) {
                std::ranges::replace(open.key.parts, part, KeyPart{part.mount, *moved});
            });
            call.NoteChange(ParentOf({part.mount, *moved}), KeyChange::kSubkeys);
        }
    }
    return code;
}

LSTATUS RegFlushKey(HKEY key)
{
    const WritingCall call(key, Call::kFlush);
    LSTATUS code = call.Code();
    for (std::size_t i = 0; code == ERROR_SUCCESS && i < call.Key().key.Parts().size(); ++i) {
        code = CodeOf(call.State().Flush(*call.Key().key.parts[i].mount));
    }
    return code;
}

LSTATUS RegSaveKeyA(HKEY key, const char* file, const void* /*security*/)
{
    if (file == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, Call::kSave);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const KeyRef& saved = call.Key().key;
    if (saved.IsMerged() || saved.First().mount->IsVolatile()) {
        return saved.IsMerged() ? ERROR_NOT_SUPPORTED : ERROR_ACCESS_DENIED;
    }
    bool isWhole = true;
    HiveComposer composer(saved.First().Reader(), {}, [&isWhole](const HiveFault&) { isWhole = false; });
    const Result<std::vector<std::byte>> content = composer.Compose(saved.First().cell);
    if (!content) {
        return CodeOf(content);
    }
    return isWhole ? CodeOf(WriteNewFile(call.State().files, file, *content, saved.First().Reader().File()))
                   : ERROR_REGISTRY_CORRUPT;
}

LSTATUS RegRestoreKeyA(HKEY key, const char* file, DWORD flags)
{
    constexpr DWORD kNoLazyFlush = 4;
    if (file == nullptr || (flags != 0 && flags != kNoLazyFlush)) {
        return ERROR_INVALID_PARAMETER;
    }
    Registry* registry = Registry::Current();
    if (registry == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    RecoveryReport recovery;
    const Result<Hive> source = OpenForReading(registry->Files(), file, LogFailure::kRefuse, recovery);
    if (!source) {
        return CodeOf(source);
    }
    WritingCall call(key, Call::kRestore);
    return call.Code() == ERROR_SUCCESS ? CodeOf(ReplaceKey(call, *source)) : call.Code();
}

Result<void> tolvar::ReplaceByKeyImage(HKEY key, const KeyImage& image)
{
    WritingCall call(key, Call::kRestore);
    return call.Code() == ERROR_SUCCESS ? ReplaceKey(call, image.Inside())
                                        : Failure(static_cast<ErrorCode>(call.Code()), "replace a key");
}
