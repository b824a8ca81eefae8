#include "journal/undo_material.h"

#include "journal/content_hash.h"
#include "journal/journal_record.h"
#include "journal/stamp.h"
#include "key_text/read_key_text.h"

namespace tolvar {

namespace {

/// The change of a record that nothing but its text tells of.
Result<ChangeRecord> PlainChange(const std::string& record, const std::string& emptyNameLabel)
{
    const JournalRecord fields = ParseRecord(record);
    const bool isKind =
        fields.kind >= static_cast<int>(ChangeKind::kDelete) && fields.kind <= static_cast<int>(ChangeKind::kNew);
    if (!fields.isPlain || !isKind || fields.object < 0 || fields.object > 2) {
        return Failure(ErrorCode::kInvalidData, "the record can't be read, and its snapshot is missing: " + record);
    }
    return ChangeOf(fields, emptyNameLabel);
}

/// Whether all of an image can be read that no seal vouches for.
bool IsReadable(const KeyImage& image)
{
    return DigestOf(image, ChangePlace{}).has_value();
}

} // namespace

Result<void> UndoMaterial::TakeSnapshot(const JournalStore& journal, const std::string& record,
                                        const std::string& emptyNameLabel, UndoForce force)
{
    const std::string stamp(StampOf(record));
    const SnapshotLog& snapshots = journal.Snapshots();
    Result<ChangeSnapshot> snapshot = journal.Snapshot(FrameKind::kChange, record);
    if (snapshot) {
        if (snapshot->Seal().record != record && force == UndoForce::kNo) {
            return Failure(ErrorCode::kFileCorrupt, "the record is not the one of its snapshot: " + record);
        }
        m_snapshot.emplace(*std::move(snapshot));
        m_change = m_snapshot->Seal().change;
        if (m_change.kind != ChangeKind::kNew && m_snapshot->Image() == nullptr) {
            m_damage = Error{ErrorCode::kFileCorrupt, "the snapshot of this change is damaged: " + stamp};
        }
        return {};
    }
    Result<ChangeRecord> change = PlainChange(record, emptyNameLabel);
    if (!change) {
        return tl::unexpected(change.error());
    }
    m_change = *std::move(change);
    if (snapshot.error().code == ErrorCode::kFileNotFound) {
        if (snapshots.HasDay(stamp)) { // else it is older than snapshots are
            m_damage = Error{ErrorCode::kFileCorrupt, "the snapshot of this change is missing: " + stamp};
        }
        return {};
    }
    m_damage = snapshot.error();
    if (Result<std::vector<std::byte>> image = snapshots.UnsealedImage(stamp); image && !image->empty()) {
        m_unsealed = *std::move(image);
        Result<KeyImage> opened = KeyImage::FromBytes(m_unsealed, "image");
        if (opened && IsReadable(*opened)) {
            m_unsealedImage.emplace(*std::move(opened));
            m_damage.reset();
        }
    }
    return {};
}

Result<void> UndoMaterial::TakeText(FileStore& files, const std::filesystem::path& text)
{
    if (m_snapshot && m_snapshot->Seal().isMoved) {
        return Failure(ErrorCode::kFileCorrupt, "the snapshot of this change is damaged, and its text backup is of a "
                                                "hive that was mounted elsewhere: " +
                                                    text.string());
    }
    if (!files.Exists(text)) {
        return Failure(ErrorCode::kFileNotFound, "the backups of this change are missing or damaged: " + text.string());
    }
    Result<MappedFile> map = files.Map(text, 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    m_text = *std::move(map);
    return IsTextGood() ? Result<void>()
                        : Failure(ErrorCode::kFileCorrupt, "the backups of this change are damaged: " + text.string());
}

Result<UndoMaterial> UndoMaterial::Gather(const JournalStore& journal, const std::string& record,
                                          const std::string& emptyNameLabel, UndoForce force)
{
    UndoMaterial material;
    if (!IsStamp(StampOf(record))) {
        return Failure(ErrorCode::kInvalidData, "the record can't be read: " + record);
    }
    auto taken = material.TakeSnapshot(journal, record, emptyNameLabel, force);
    const bool isNew = material.m_change.kind == ChangeKind::kNew;
    const bool hasImage = material.m_unsealedImage || (material.m_snapshot && material.m_snapshot->Image() != nullptr);
    if (taken && material.m_damage && force == UndoForce::kNo) {
        taken = tl::unexpected(*material.m_damage);
    }
    if (taken && !hasImage && !isNew) {
        taken = material.TakeText(journal.Files(), journal.TextBackup(StampOf(record)));
    }
    return taken ? Result<UndoMaterial>(std::move(material)) : tl::unexpected(taken.error());
}

UndoSource UndoMaterial::Source() const
{
    if (m_change.kind == ChangeKind::kNew) {
        return {};
    }
    if (m_text) {
        return Text();
    }
    return m_unsealedImage ? &*m_unsealedImage : m_snapshot->Image();
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
