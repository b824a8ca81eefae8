#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "journal/change_snapshot.h"
#include "journal/undo_change.h"
#include "platform/files/file_store.h"

namespace tolvar {

/// What an entry of the journal is undone from, looked at in full before anything is changed.
class UndoMaterial {
public:
    /// `text` and `snapshot`: the backups of the record, the latter as it could be opened. The snapshot is taken where
    /// it belongs to the record and is whole, else the text, if it holds all. `emptyNameLabel`: see ChangeOf.
    /// Errors: kFileNotFound or kFileCorrupt where neither backup can be used; kInvalidData for a record that can't be
    /// read; the file system's.
    [[nodiscard]] static Result<UndoMaterial> Gather(FileStore& files, const std::filesystem::path& text,
                                                     Result<ChangeSnapshot> snapshot, const std::string& record,
                                                     const std::string& emptyNameLabel);

    [[nodiscard]] const ChangeRecord& Change() const noexcept { return m_change; }

    /// Valid as long as this object stays where it is.
    [[nodiscard]] UndoSource Source() const;

private:
    [[nodiscard]] std::string_view Text() const;
    [[nodiscard]] bool IsTextGood() const;

    std::optional<ChangeSnapshot> m_snapshot; ///< that of the record
    std::optional<MappedFile> m_text;         ///< where it is needed
    ChangeRecord m_change;
};

} // namespace tolvar
