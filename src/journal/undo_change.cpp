#include "journal/undo_change.h"

#include "journal/make_change.h"
#include "key_text/read_key_text.h"
#include "platform/registry/key_image.h"
#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

Result<void> Answer(LSTATUS code, const std::string& what)
{
    return code == ERROR_SUCCESS ? Result<void>() : Failure(static_cast<ErrorCode>(code), what);
}

/// Opens a key to be restored, and makes it where it is missing. What was made for it goes again unless it is kept.
class RestoredKey {
public:
    ~RestoredKey()
    {
        if (m_isKept || m_firstMade.empty()) {
            return;
        }
        m_key.Close();
        const std::optional<ParentAndName> split = SplitLast(m_firstMade);
        RegKey parent;
        if (split && OpenKeyPath(split->parent, *parent.Put(), KEY_ALL_ACCESS) == ERROR_SUCCESS) {
            RegDeleteTreeA(parent.Get(), std::string(split->name).c_str());
        }
    }
    RestoredKey() = default;
    RestoredKey(const RestoredKey&) = delete;
    RestoredKey& operator=(const RestoredKey&) = delete;

    /// `spelling`: how the last name is to be written if the key has to be made.
    [[nodiscard]] LSTATUS Open(const std::string& path, const std::string& spelling)
    {
        const std::optional<ParentAndName> split = SplitLast(path);
        const bool isSpelled = split && !spelling.empty() && CompareNames(split->name, spelling) == 0;
        m_firstMade = FirstMissingKey(path);
        const LSTATUS code =
            CreateKeyPath(isSpelled ? JoinPath(split->parent, spelling) : path, *m_key.Put(), KEY_ALL_ACCESS);
        return code == ERROR_SUCCESS ? CheckWritable(m_key.Get()) : code;
    }
    [[nodiscard]] HKEY Get() const noexcept { return m_key.Get(); }
    void Keep() noexcept { m_isKept = true; }

private:
    RegKey m_key;
    std::string m_firstMade;
    bool m_isKept = false;
};

/// The name that an image's key has.
std::string SpellingOf(const UndoSource& source)
{
    const KeyImage* const* image = std::get_if<const KeyImage*>(&source);
    return image != nullptr ? (*image)->KeyName() : std::string();
}

Result<void> Restore(HKEY key, const ChangeRecord& change, const UndoSource& source)
{
    if (const KeyImage* const* image = std::get_if<const KeyImage*>(&source)) {
        return change.IsKey() ? LayKeyImage(key, **image) : LayValueImage(key, **image);
    }
    if (const std::string_view* text = std::get_if<std::string_view>(&source)) {
        const KeyTextReading reading = RestoreKeyText(key, *text);
        return reading.skipped == 0 ? Result<void>()
                                    : Failure(ErrorCode::kFileCorrupt, "lines of the text backup can't be restored");
    }
    return {};
}

/// What stands against taking the subkey `name` away; a missing one is no hindrance.
LSTATUS CheckRemovable(HKEY parent, const std::string& name)
{
    RegKey key;
    const LSTATUS code = RegOpenKeyExA(parent, name.c_str(), 0, KEY_ALL_ACCESS, key.Put());
    return code == ERROR_SUCCESS ? CheckTree(key.Get(), KEY_ALL_ACCESS) : code == ERROR_FILE_NOT_FOUND ? 0 : code;
}

LSTATUS RemoveTree(HKEY parent, const std::string& name)
{
    const LSTATUS code = RegDeleteTreeA(parent, name.c_str());
    return code == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : code;
}

LSTATUS RemoveValue(HKEY key, const std::string& name)
{
    const LSTATUS code = RegDeleteValueA(key, name.c_str());
    return code == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : code;
}

/// Makes a key again what it was, whatever it is now: for a change that went by no rule of its own.
Result<void> UndoKeyModification(const ChangeRecord& change, const UndoSource& source)
{
    const KeyImage* const* image = std::get_if<const KeyImage*>(&source);
    if (image == nullptr) { // a text would leave what has come into the key
        return Failure(ErrorCode::kFileCorrupt, "the image of this key is missing: " + change.path);
    }
    RestoredKey key;
    LSTATUS code = key.Open(change.path, SpellingOf(source));
    code = code == ERROR_SUCCESS ? CheckTree(key.Get(), KEY_ALL_ACCESS) : code;
    auto replaced = code == ERROR_SUCCESS ? ReplaceByKeyImage(key.Get(), **image) : Answer(code, change.path);
    if (replaced) {
        key.Keep();
    }
    return replaced;
}

} // namespace

std::string FirstMissingKey(const std::string& path)
{
    std::string above;
    for (const std::string_view name : PathNames(path)) {
        AppendPath(above, name);
        RegKey key;
        if (OpenKeyPath(above, *key.Put(), KEY_READ) == ERROR_FILE_NOT_FOUND) {
            return above;
        }
    }
    return {};
}

Result<void> RemovePlace(const ChangePlace& place)
{
    RegKey key;
    LSTATUS code =
        OpenKeyPath(place.value ? place.key : std::string(ParentPath(place.key)), *key.Put(), KEY_ALL_ACCESS);
    if (code == ERROR_FILE_NOT_FOUND) {
        return {}; // and what was in it is gone with it
    }
    code = code == ERROR_SUCCESS ? CheckWritable(key.Get()) : code;
    if (code == ERROR_SUCCESS) {
        code = place.value ? RemoveValue(key.Get(), *place.value)
                           : RemoveTree(key.Get(), std::string(LastName(place.key)));
    }
    return Answer(code, place.key);
}

Result<void> UndoChange(const ChangeRecord& change, const UndoSource& source)
{
    if (change.kind == ChangeKind::kNew) {
        return RemovePlace(PlacesOf(change).front());
    }
    if (change.IsKey() && change.kind == ChangeKind::kModify) {
        return UndoKeyModification(change, source);
    }
    const std::optional<ParentAndName> split = SplitLast(change.path);
    const bool isKeyRename = change.IsKey() && change.kind == ChangeKind::kRename && split &&
                             CompareNames(split->name, change.secondPath) != 0;
    RegKey parent;
    if (isKeyRename && OpenKeyPath(split->parent, *parent.Put(), KEY_ALL_ACCESS) == ERROR_SUCCESS) {
        if (const LSTATUS code = CheckRemovable(parent.Get(), change.secondPath); code != ERROR_SUCCESS) {
            return Answer(code, JoinPath(split->parent, change.secondPath));
        }
    }
    RestoredKey key;
    if (const LSTATUS code = key.Open(change.path, change.IsKey() ? SpellingOf(source) : ""); code != ERROR_SUCCESS) {
        return Answer(code, change.path);
    }
    if (!change.IsKey() && change.kind == ChangeKind::kRename) {
        if (const LSTATUS code = RemoveValue(key.Get(), change.NewName()); code != ERROR_SUCCESS) {
            return Answer(code, change.path + ", value " + change.NewName());
        }
    }
    if (auto restored = Restore(key.Get(), change, source); !restored) {
        return restored;
    }
    key.Keep();
    return isKeyRename && parent ? Answer(RemoveTree(parent.Get(), change.secondPath), change.path) : Result<void>();
}

Result<void> TakeChangeBack(const ChangeRecord& change, const UndoSource& source)
{
    if (auto undone = UndoChange(change, source); !undone) {
        return undone;
    }
    const std::optional<ParentAndName> split = SplitLast(change.path);
    if (!change.IsKey() || change.kind != ChangeKind::kRename || CompareNames(split->name, change.secondPath) != 0) {
        return {};
    }
    const std::string stored = SpellingOf(source);
    RegKey parent;
    LSTATUS code = OpenKeyPath(split->parent, *parent.Put(), KEY_ALL_ACCESS);
    if (code == ERROR_SUCCESS) {
        code = RegRenameKey(parent.Get(), change.secondPath.c_str(),
                            stored.empty() ? std::string(split->name).c_str() : stored.c_str());
    }
    return Answer(code, change.path);
}

} // namespace tolvar
