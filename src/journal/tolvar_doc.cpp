#include "journal/tolvar_doc.h"

#include <future>

#include <fmt/format.h>

#include "journal/change_snapshot.h"
#include "journal/content_hash.h"
#include "journal/make_change.h"
#include "journal/place_states.h"
#include "journal/undo_change.h"
#include "journal/user_name.h"
#include "platform/registry/registry.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

CTolvarDoc::CTolvarDoc(JournalOptions options)
    : m_emptyNameLabel(std::move(options.emptyNameLabel)), m_keepDays(options.keepDays), m_expiry(options.expiry),
      m_failure(Error{ErrorCode::kInvalidFunction, "the journal was not opened"}),
      m_journals({std::move(options.place)})
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

namespace {

/// Whether a change at this place could be made and seen in this session.
bool IsReachable(std::string_view path)
{
    for (; !path.empty(); path = ParentPath(path)) {
        RegKey key;
        const LSTATUS code = OpenKeyPath(std::string(path), *key.Put(), KEY_READ);
        if (code != ERROR_FILE_NOT_FOUND) {
            return code == ERROR_SUCCESS && CheckWritable(key.Get()) == ERROR_SUCCESS;
        }
    }
    return false;
}

/// Whether a change was made, by what its places hold now. Nothing where they can't tell.
std::optional<bool> IsMade(const SnapshotSeal& seal)
{
    const Result<std::vector<PlaceDigest>> now =
        IsReachable(seal.change.path) ? DigestsNow(seal.change) : Failure(ErrorCode::kFileNotFound);
    if (!now) {
        return std::nullopt;
    }
    const bool isBefore = Matches(seal, &PlaceState::before, *now);
    const bool isAfter = Matches(seal, &PlaceState::after, *now);
    return isBefore == isAfter ? std::nullopt : std::optional(isAfter);
}

} // namespace

/// Drops the records of changes that a crash kept from being made. Where the registry can't tell, the record stays:
/// undoing it brings back what was there when it was begun.
void CTolvarDoc::SettleOpen(const std::vector<std::string>& open)
{
    for (const std::string& record : open) {
        const Result<SnapshotSeal> seal = m_journals.Of(record).Seal(FrameKind::kChange, record);
        // Without a seal its backups went when it failed, or never came to be.
        if (seal && seal->record == record && IsMade(*seal).value_or(true)) {
            m_journals.Of(record).NoteMade(record);
        } else if (IsRedoable(record)) {
            static_cast<void>(m_journals.Retire({&record, 1})); // else the next start tries
        } else {
            m_journals.Of(record).NoteFailed(record);
            m_journals.Forget({&record, 1});
        }
    }
}

Result<void> CTolvarDoc::OnNewDocument()
{
    m_failure.reset();
    const auto failed = [this](const Error& error) {
        m_journals.ShowNothing();
        m_failure = error;
        return tl::unexpected(error);
    };
    const Result<JournalStore::Unsettled> unsettled = m_journals.Open();
    if (!unsettled) {
        return failed(unsettled.error());
    }
    if (m_journals.IsEmpty()) {
        m_failure = Error{ErrorCode::kFileNotFound, "there is no hive that could be changed"};
        return {};
    }
    if (m_journals.IsReadOnly()) {
        m_failure = Error{ErrorCode::kWriteProtect, "the journal is open for reading only"};
        return {};
    }
    SettleOpen(unsettled->open);
    SettleUndone();
    if (auto settled = SettleCut(*unsettled); !settled) {
        return failed(settled.error()); // later changes would be taken back with it
    }
    if (m_expiry != JournalExpiry::kNever) { // what can't be dropped today can be tomorrow
        static_cast<void>(m_journals.Expire(m_keepDays, m_expiry == JournalExpiry::kOnceADay));
    }
    return {};
}

Result<void> CTolvarDoc::SaveModified()
{
    return m_failure ? Result<void>() : m_journals.Save(m_hasOpenChange);
}

/// Writes the text backup, and what it came to into the seal.
Result<void> CTolvarDoc::WriteTextBackup(PreparedChange& change, const std::string& stamp, SnapshotSeal& seal)
{
    Result<std::unique_ptr<StoredFile>> text = m_journals.Of(stamp).MakeTextBackup(stamp);
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

/// Writes the text backup of a change, and composes the rest. A key's image is made beside the writing of its text:
/// both of them only look at the registry.
Result<CTolvarDoc::Backup> CTolvarDoc::MakeBackup(PreparedChange& change, const std::string& stamp,
                                                  const std::string& record)
{
    Backup backup;
    backup.seal = NewSeal(record, change.Change());
    if (!change.NeedsBackup()) {
        return backup;
    }
    const auto how = change.Change().IsKey() ? std::launch::async | std::launch::deferred : std::launch::deferred;
    std::future<Result<std::vector<std::byte>>> composing = std::async(how, [&change] { return change.Image(); });
    const auto written = WriteTextBackup(change, stamp, backup.seal);
    Result<std::vector<std::byte>> image = composing.get();
    if (!image || !written) {
        return tl::unexpected(image ? written.error() : image.error());
    }
    backup.image = *std::move(image);
    return backup;
}

/// Writes the backups of a change, not yet durably. Answers the snapshot's hive.
Result<std::vector<std::byte>> CTolvarDoc::WriteBackups(PreparedChange& change, const std::string& stamp,
                                                        const std::string& record)
{
    Result<Backup> backup = MakeBackup(change, stamp, record);
    if (!backup) {
        return tl::unexpected(backup.error());
    }
    std::optional<KeyImage> hive;
    if (!backup->image.empty()) {
        Result<KeyImage> opened = KeyImage::FromBytes(backup->image, "image");
        if (!opened) {
            return tl::unexpected(opened.error());
        }
        hive.emplace(*std::move(opened));
    }
    Result<std::vector<PlaceState>> states = change.States(hive ? &*hive : nullptr);
    if (!states) {
        return tl::unexpected(states.error());
    }
    backup->seal.places = *std::move(states);
    if (m_group.depth != 0) {
        m_group.stamp = m_group.records.empty() ? stamp : m_group.stamp;
        backup->seal.group = m_group.stamp;
    }
    auto added = m_journals.Of(record).Snapshots().Add(FrameKind::kChange, stamp, backup->image, backup->seal);
    return added ? Result<std::vector<std::byte>>(std::move(backup->image)) : tl::unexpected(added.error());
}

/// Takes back in memory what is left of a change that could not be made, and nothing else.
void CTolvarDoc::TakeBackFailed(const ChangeRecord& change, const std::vector<std::byte>& image,
                                const std::string& record)
{
    const Result<KeyImage> before = KeyImage::FromBytes(image, "image");
    const bool isLeft =
        change.kind == ChangeKind::kRename && !TakeChangeBack(change, before ? UndoSource(&*before) : UndoSource());
    if (isLeft && m_group.depth != 0) { // it stays half made, and is undone with its group
        m_group.records.push_back(record);
    } else if (!isLeft || Revert()) {
        m_journals.Of(record).NoteFailed(record);
    }
}

/// Brings the registry back to what its last flush made. Where that can't be, nothing can be changed any more.
Result<void> CTolvarDoc::Revert()
{
    Registry* const registry = Registry::Current();
    auto reverted = registry != nullptr && registry->IsChanged() ? registry->Revert() : Result<void>();
    if (!reverted) {
        m_failure = reverted.error();
        m_hasOpenChange = true;
    }
    return reverted;
}

FlushFate CTolvarDoc::FailedFlush()
{
    const Registry* const registry = Registry::Current();
    return registry != nullptr ? registry->FailedFlush() : FlushFate::kNotMade;
}

/// What is answered for changes that a failed flush may have made all the same. No more are taken then.
Error CTolvarDoc::MadeAllTheSame(FlushFate fate, const Error& error, const char* what)
{
    m_failure = error;
    m_hasOpenChange = true;
    const char* const fateText = fate == FlushFate::kMade ? "is done, and the next start ends writing the file"
                                                          : "may be done: the next start tells";
    return {error.code, fmt::format("{} {}; {}", what, fateText, error.context)};
}

/// A change was made in memory, and its flush failed.
Result<void> CTolvarDoc::FlushFailed(const Error& error, const std::string& record)
{
    const FlushFate fate = FailedFlush();
    if (fate == FlushFate::kNotMade) {
        if (Revert()) {
            m_journals.Of(record).NoteFailed(record);
        }
        return tl::unexpected(error);
    }
    if (fate == FlushFate::kMade) {
        m_journals.Of(record).NoteMade(record);
        Show(record);
    }
    return tl::unexpected(MadeAllTheSame(fate, error, "the change"));
}

const std::string& CTolvarDoc::User()
{
    if (m_user.empty()) {
        m_user = SessionUserName();
    }
    return m_user;
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
    const std::string stamp = m_journals.NewStamp(change.path);
    ChangeRecord written = change; // as it came, but for what it turned out to be
    written.kind = prepared->Change().kind;
    std::string record = FormatRecord(written, change.user.value_or(User()), stamp);
    const Result<std::vector<std::byte>> image = WriteBackups(*prepared, stamp, record);
    if (auto done = image ? Announce(record) : tl::unexpected(image.error()); !done) {
        m_journals.RemoveBackups({&record, 1});
        return done;
    }
    auto made = prepared->Make();
    if (!made) {
        // A rename takes more than one step, and may have made some of them.
        TakeBackFailed(prepared->Change(), *image, record);
        return made;
    }
    if (m_group.depth != 0) {
        m_group.records.push_back(std::move(record));
        return made;
    }
    if (auto flushed = prepared->Flush(); !flushed) {
        return FlushFailed(flushed.error(), record);
    }
    m_journals.Of(record).NoteMade(record);
    m_journals.ForgetUndone();
    Show(std::move(record));
    return {};
}

/// Says that a change is about to be made: durably, and its backups before it. A group's comes later.
Result<void> CTolvarDoc::Announce(const std::string& record)
{
    return m_group.depth != 0 ? m_journals.Of(record).BeginMember(record) : m_journals.Of(record).Begin(record);
}

void CTolvarDoc::Show(std::string record)
{
    const std::string& added = m_journals.Add(std::move(record));
    if (m_observer != nullptr) {
        m_observer->OnRecordAdded(added);
    }
}

} // namespace tolvar
