#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "journal/journal_store.h"
#include "journal/undo_change.h"
#include "platform/files/file_store.h"

namespace tolvar {

/// Whether an undo goes on over what would otherwise stop it.
enum class UndoForce {
    kNo,
    kYes, ///< over later changes, and with a text backup where the snapshot is damaged
};

/// What an entry of the journal is undone from, looked at in full before anything is changed.
class UndoMaterial {
public:
    /// The snapshot of the record is taken. One that is there and can't be read whole is never replaced in silence: its
    /// image is taken where its seal alone is damaged and the record is clear, and the text, which may hold less, where
    /// `force` says so. The text is taken where there never was a snapshot. `journal`: the one that has the record.
    /// `emptyNameLabel`: see ChangeOf.
    /// Errors: kFileNotFound or kFileCorrupt where neither backup can be used; kFileCorrupt for a record that is not
    /// the one of its snapshot, whose change is taken where `force` says so; kInvalidData for a record that can't be
    /// read; the file system's.
    [[nodiscard]] static Result<UndoMaterial> Gather(const JournalStore& journal, const std::string& record,
                                                     const std::string& emptyNameLabel, UndoForce force);

    [[nodiscard]] const ChangeRecord& Change() const noexcept { return m_change; }

    /// The seal of its snapshot; null where there is none.
    [[nodiscard]] const SnapshotSeal* Seal() const noexcept { return m_snapshot ? &m_snapshot->Seal() : nullptr; }

    /// Valid as long as this object stays where it is.
    [[nodiscard]] UndoSource Source() const;

private:
    [[nodiscard]] Result<void> TakeSnapshot(const JournalStore& journal, const std::string& record,
                                            const std::string& emptyNameLabel, UndoForce force);
    [[nodiscard]] Result<void> TakeText(FileStore& files, const std::filesystem::path& text);
    [[nodiscard]] std::string_view Text() const;
    [[nodiscard]] bool IsTextGood() const;

    std::optional<ChangeSnapshot> m_snapshot; ///< that of the record
    std::vector<std::byte> m_unsealed;        ///< the image of a snapshot whose seal is damaged
    std::optional<KeyImage> m_unsealedImage;
    std::optional<Error> m_damage;    ///< what is wrong with the snapshot
    std::optional<MappedFile> m_text; ///< where it is needed
    ChangeRecord m_change;
};

} // namespace tolvar
