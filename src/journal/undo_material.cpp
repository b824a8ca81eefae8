#include "journal/undo_material.h"

#include "journal/content_hash.h"
#include "journal/journal_record.h"
#include "journal/stamp.h"
#include "key_text/read_key_text.h"

namespace tolvar {

Result<UndoMaterial> UndoMaterial::Gather(FileStore& files, const std::filesystem::path& text,
                                          Result<ChangeSnapshot> snapshot, const std::string& record,
                                          const std::string& emptyNameLabel)
{
    UndoMaterial material;
    const JournalRecord fields = ParseRecord(record);
    if (!IsStamp(fields.stamp)) {
        return Failure(ErrorCode::kInvalidData, "the record can't be read: " + record);
    }
    if (snapshot && snapshot->Seal().record == record) {
        material.m_snapshot.emplace(*std::move(snapshot));
        material.m_change = material.m_snapshot->Seal().change;
    } else {
        const bool isKind =
            fields.kind >= static_cast<int>(ChangeKind::kDelete) && fields.kind <= static_cast<int>(ChangeKind::kNew);
        if (!fields.isPlain || !isKind || fields.object < 0 || fields.object > 2) {
            return Failure(ErrorCode::kInvalidData, "the record can't be read, and its snapshot is missing: " + record);
        }
        material.m_change = ChangeOf(fields, emptyNameLabel);
    }
    const bool hasImage = material.m_snapshot && material.m_snapshot->Image() != nullptr;
    if (material.m_change.kind == ChangeKind::kNew || hasImage) {
        return material;
    }
    if (!files.Exists(text)) {
        return Failure(ErrorCode::kFileNotFound, "the backups of this change are missing or damaged: " + text.string());
    }
    Result<MappedFile> map = files.Map(text, 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    material.m_text = *std::move(map);
    return material.IsTextGood()
               ? Result<UndoMaterial>(std::move(material))
               : Failure(ErrorCode::kFileCorrupt, "the backups of this change are damaged: " + text.string());
}

UndoSource UndoMaterial::Source() const
{
    if (m_change.kind == ChangeKind::kNew) {
        return {};
    }
    return m_text ? UndoSource(Text()) : UndoSource(m_snapshot->Image());
}

std::string_view UndoMaterial::Text() const
{
    const auto bytes = m_text->Bytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool UndoMaterial::IsTextGood() const
{
    const std::string_view text = Text();
    if (m_text->AnyFailed()) {
        return false;
    }
    if (m_snapshot) {
        const SnapshotSeal& seal = m_snapshot->Seal();
        return seal.isTextWhole && seal.textSize == text.size() && seal.textSum == ContentHash::Of(m_text->Bytes());
    }
    // Without a seal a text can be judged by its look alone: a value that went was there.
    const bool isValueGone = !m_change.IsKey() && m_change.kind != ChangeKind::kModify;
    const bool isKeyCut = m_change.IsKey() && !text.empty() && !text.ends_with('\n');
    return IsWholeKeyText(text) && !(isValueGone && text.empty()) && !isKeyCut;
}

} // namespace tolvar
