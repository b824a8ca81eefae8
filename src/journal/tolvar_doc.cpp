#include "journal/tolvar_doc.h"

#include <algorithm>
#include <future>

#include "journal/change_snapshot.h"
#include "journal/content_hash.h"
#include "journal/make_change.h"
#include "journal/undo_change.h"
#include "journal/user_name.h"

namespace tolvar {

CTolvarDoc::CTolvarDoc(JournalOptions options)
    : m_emptyNameLabel(std::move(options.emptyNameLabel)), m_keepDays(options.keepDays), m_expiry(options.expiry),
      m_failure(Error{ErrorCode::kInvalidFunction, "the journal was not opened"}), m_store(std::move(options.place))
{}

CTolvarDoc::~CTolvarDoc() = default;

Result<void> CTolvarDoc::CheckUsable() const
{
    return m_failure ? tl::unexpected(*m_failure) : Result<void>();
}

Result<void> CTolvarDoc::CheckFree() const
{
    return m_group.depth != 0 ? Failure(ErrorCode::kInvalidFunction, "a group of changes is being made")
                              : CheckUsable();
}

/// Drops the records of changes that a crash kept from being made. Where the registry can't tell, the record stays:
/// undoing it brings back what was there when it was begun.
void CTolvarDoc::SettleOpen(const std::vector<std::string>& open)
{
    for (const std::string& record : open) {
        const JournalRecord fields = ParseRecord(record);
        const Result<ChangeSnapshot> snapshot = m_store.Snapshots().Find(FrameKind::kChange, fields.stamp);
        const bool isSealed = snapshot && snapshot->Seal().record == record;
        const ChangeRecord change = isSealed ? snapshot->Seal().change : ChangeOf(fields, m_emptyNameLabel);
        const bool isSameAgain = isSealed && snapshot->Seal().isSameAgain;
        ChangeState state =
            isSameAgain ? ChangeState::kUnknown : StateOfChange(change, isSealed ? snapshot->Image() : nullptr);
        if (!isSealed && (change.kind != ChangeKind::kNew || !fields.isPlain)) {
            state = ChangeState::kNotMade; // its backups went when it failed, or never came to be
        }
        if (state != ChangeState::kNotMade) {
            m_store.NoteMade(record);
            continue;
        }
        m_store.NoteFailed(record);
        m_store.Forget({&record, 1});
    }
}

Result<void> CTolvarDoc::OnNewDocument()
{
    m_failure.reset();
    const auto failed = [this](const Error& error) {
        m_store.ShowNothing();
        m_failure = error;
        return tl::unexpected(error);
    };
    const Result<JournalStore::Unsettled> unsettled = m_store.Open();
    if (!unsettled) {
        return failed(unsettled.error());
    }
    if (m_store.IsReadOnly()) {
        m_failure = Error{ErrorCode::kWriteProtect, "the journal is open for reading only"};
        return {};
    }
    SettleOpen(unsettled->open);
    if (auto settled = SettleCut(*unsettled); !settled) {
        return failed(settled.error()); // later changes would be taken back with it
    }
    if (m_expiry == JournalExpiry::kAtStart || (m_expiry == JournalExpiry::kOnceADay && m_store.MarkDay())) {
        static_cast<void>(m_store.Expire(m_keepDays)); // what can't be dropped today can be tomorrow
    }
    return {};
}

Result<void> CTolvarDoc::SaveModified()
{
    return m_failure ? Result<void>() : m_store.Save(m_hasOpenChange);
}

/// Writes the text backup, and what it came to into the seal.
Result<void> CTolvarDoc::WriteTextBackup(PreparedChange& change, const std::string& stamp, SnapshotSeal& seal)
{
    Result<std::unique_ptr<StoredFile>> text = m_store.MakeTextBackup(stamp);
    if (!text) {
        return tl::unexpected(text.error());
    }
    ContentHash sum;
    const Result<KeyTextLosses> losses = change.WriteText([&](std::string_view piece) {
        const auto bytes = std::as_bytes(std::span(piece));
        const std::uint64_t at = sum.Size();
        sum.Add(bytes);
        return (*text)->Write(at, bytes);
    });
    if (!losses) {
        return tl::unexpected(losses.error());
    }
    seal.textSize = sum.Size();
    seal.textSum = sum.Value();
    seal.isTextWhole = losses->count == 0;
    return {};
}

/// Writes the text backup and the snapshot of a change, not yet durably. `image` gets the snapshot's hive. A key's
/// image is made beside the writing of its text: both of them only look at the registry.
Result<void> CTolvarDoc::WriteBackups(PreparedChange& change, const std::string& stamp, const std::string& record,
                                      std::vector<std::byte>& image)
{
    const auto how = change.Change().IsKey() ? std::launch::async : std::launch::deferred;
    std::future<Result<std::vector<std::byte>>> composing = std::async(how, [&change] { return change.Image(); });
    SnapshotSeal seal{record, change.Change()};
    auto written = WriteTextBackup(change, stamp, seal);
    Result<std::vector<std::byte>> before = composing.get();
    if (!before || !written) {
        return before ? written : tl::unexpected(before.error());
    }
    image = *std::move(before);
    if (const Result<KeyImage> hive = KeyImage::FromBytes(image, "image"); hive) {
        seal.isSameAgain = change.IsSameAgain(*hive);
    }
    return m_store.Snapshots().Add(FrameKind::kChange, stamp, image, seal);
}

/// Takes a change back that was made in memory and could not be made durable. Where the file can't be had either, the
/// record stays begun, and the next start sees what became of it.
void CTolvarDoc::TakeBack(const ChangeRecord& change, const std::vector<std::byte>& image, const std::string& record)
{
    const Result<KeyImage> before =
        KeyImage::FromBytes(image, "image"); // there is none of a change that needs no backup
    const UndoSource source = before ? UndoSource(&*before) : UndoSource();
    if (TakeChangeBack(change, source) && (m_group.depth != 0 || FlushChange(change))) {
        m_store.NoteFailed(record);
    } else if (m_group.depth != 0) { // it stays half made, and is undone with its group
        m_group.records.push_back(record);
    } else {
        m_hasOpenChange = true;
    }
}

Result<void> CTolvarDoc::ApplyChange(const ChangeRecord& change)
{
    if (auto usable = CheckUsable(); !usable) {
        return usable;
    }
    Result<PreparedChange> prepared = PreparedChange::Prepare(change, m_emptyNameLabel);
    if (!prepared) {
        return tl::unexpected(prepared.error());
    }
    if (m_user.empty()) {
        m_user = SessionUserName();
    }
    const std::string stamp = m_store.NewStamp();
    ChangeRecord written = change; // as it came, but for what it turned out to be
    written.kind = prepared->Change().kind;
    std::string record = FormatRecord(written, change.user.value_or(m_user), stamp);
    std::vector<std::byte> image;
    Result<void> done;
    if (prepared->NeedsBackup()) {
        done = WriteBackups(*prepared, stamp, record, image);
    } else {
        done = m_store.Snapshots().Add(FrameKind::kChange, stamp, {}, {record, prepared->Change()});
    }
    done = done ? Announce(record) : done;
    if (!done) {
        m_store.RemoveBackups({&record, 1});
        return done;
    }
    done = prepared->Make();
    const bool isMade = done.has_value();
    done = done && m_group.depth == 0 ? prepared->Flush() : done;
    if (!done) {
        if (isMade || prepared->Change().kind == ChangeKind::kRename) { // a rename takes more than one step
            TakeBack(prepared->Change(), image, record);
        } else {
            m_store.NoteFailed(record);
        }
        return done;
    }
    if (m_group.depth != 0) {
        m_group.records.push_back(std::move(record));
        return done;
    }
    m_store.NoteMade(record);
    Show(std::move(record));
    return done;
}

/// Says that a change is about to be made: durably, and its backups before it. A group's comes later.
Result<void> CTolvarDoc::Announce(const std::string& record)
{
    return m_group.depth != 0 ? m_store.BeginMember(record) : m_store.Begin(record);
}

void CTolvarDoc::Show(std::string record)
{
    const std::string& added = m_store.Add(std::move(record));
    if (m_observer != nullptr) {
        m_observer->OnRecordAdded(added);
    }
}

} // namespace tolvar
