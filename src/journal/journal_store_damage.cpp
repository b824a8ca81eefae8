#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "journal/content_hash.h"
#include "journal/journal_store.h"

namespace tolvar {

// `index` has no sums, and other programs write it too. The sums of what it held and of what it is about to hold stand
// in `journal.sums` beside it, as 16 hexadecimal digits a line. Where none of them fits the seals of the snapshots tell
// which records there were.

namespace {

constexpr std::size_t kSumDigits = 16;

std::string SumLine(std::span<const std::byte> bytes)
{
    return fmt::format("{:016x}\n", ContentHash::Of(bytes));
}

} // namespace

/// Whether `index` is none of those that were written; false where there is nothing to tell by.
bool JournalStore::IsIndexAltered(std::span<const std::byte> bytes) const
{
    const std::filesystem::path file = Beside("journal.sums");
    const Result<MappedFile> map =
        m_place.files->Exists(file) ? m_place.files->Map(file, 0) : Failure(ErrorCode::kFileNotFound);
    if (!map || map->Bytes().size() % (kSumDigits + 1) != 0 || map->AnyFailed()) {
        return false;
    }
    const std::string_view lines(reinterpret_cast<const char*>(map->Bytes().data()), map->Bytes().size());
    return !lines.empty() && lines.find(SumLine(bytes)) == std::string_view::npos;
}

/// Before `index` is replaced: a crash may leave the one or the other.
Result<void> JournalStore::WriteSums(std::span<const std::byte> fresh) const
{
    std::string lines = SumLine(fresh);
    const std::filesystem::path index = m_place.dataFolder / "index";
    if (!m_isIndexDamaged && m_place.files->Exists(index)) { // a damaged one stays what it is
        const Result<MappedFile> old = m_place.files->Map(index, 0);
        if (!old) {
            return tl::unexpected(old.error());
        }
        lines += SumLine(old->Bytes());
    }
    return ReplaceDurably(Beside("journal.sums"), std::as_bytes(std::span(lines)));
}

/// Copies a damaged file to a name of its own beside the data folder, unless the last copy holds the same. Answers the
/// copy's path; none where there is nothing to copy, or nothing may be written.
Result<std::filesystem::path> JournalStore::KeepAside(const std::filesystem::path& file) const
{
    if (m_place.isReadOnly || !m_place.files->Exists(file)) {
        return std::filesystem::path();
    }
    const Result<MappedFile> damaged = m_place.files->Map(file, 0);
    if (!damaged) {
        return tl::unexpected(damaged.error());
    }
    const std::string name = file.filename().string() + ".damaged";
    std::filesystem::path copy = Beside(name.c_str());
    for (int number = 2; m_place.files->Exists(copy); ++number) {
        const Result<MappedFile> known = m_place.files->Map(copy, 0);
        if (known && std::ranges::equal(known->Bytes(), damaged->Bytes())) {
            return copy;
        }
        copy = Beside((name + std::to_string(number)).c_str());
    }
    auto written = WriteDurably(copy, damaged->Bytes());
    return written ? Result<std::filesystem::path>(copy) : tl::unexpected(written.error());
}

/// Adds the records that a seal tells of and the list lacks, each where its stamp belongs, and gives those back their
/// text that are not what their seals hold. Answers how many came back.
std::size_t JournalStore::RestoreFromSeals(const Unsettled& unsettled)
{
    TakeIndexIn();
    std::unordered_set<std::string_view> known(unsettled.notMade.begin(), unsettled.notMade.end());
    known.insert(unsettled.gone.begin(), unsettled.gone.end());
    for (const RedoLog::Step& step : m_redo->Steps()) {
        for (const UndoneEntry& undone : step) {
            known.insert(undone.record);
        }
    }
    std::map<std::string, std::string> sealed; // records by stamp
    m_snapshots.ForEachSeal([&](const SnapshotSeal& seal) {
        if (const std::string stamp(StampOf(seal.record)); IsStamp(stamp) && !known.contains(seal.record)) {
            sealed.emplace(stamp, seal.record);
        }
    });
    std::size_t restored = 0;
    for (std::string& record : m_records) {
        if (const auto seal = sealed.find(std::string(StampOf(record))); seal != sealed.end()) {
            restored += record != seal->second ? 1U : 0U;
            record = std::move(seal->second);
            sealed.erase(seal);
        }
    }
    restored += sealed.size();
    std::vector<std::string> merged;
    auto missing = sealed.begin();
    for (std::string& record : m_records) {
        for (; missing != sealed.end() && missing->first < StampOf(record); ++missing) {
            merged.push_back(std::move(missing->second));
        }
        merged.push_back(std::move(record));
    }
    for (; missing != sealed.end(); ++missing) {
        merged.push_back(std::move(missing->second));
    }
    for (const auto& [stamp, record] : sealed) {
        RememberStamp(stamp);
    }
    m_records = std::move(merged);
    m_isIndexStale = true;
    return restored;
}

/// Keeps what is damaged aside, it is the only copy, and brings back what can be. Says both.
Result<void> JournalStore::MendDamage(const Unsettled& unsettled)
{
    const bool isPendingDamaged = m_pending->WasDamaged();
    const struct {
        bool isDamaged;
        std::filesystem::path file;
        const char* result;
    } files[] = {
        {m_isIndexDamaged, m_place.dataFolder / "index", "{} entries of the journal came back from their snapshots"},
        {isPendingDamaged, Beside("journal.pending"), "{} entries of the journal came back from their snapshots"},
        {m_redo->WasDamaged(), Beside("journal.redo"), "what was undone before the damage can't be done again"},
    };
    std::vector<std::filesystem::path> copies;
    for (const auto& file : files) {
        Result<std::filesystem::path> kept = file.isDamaged ? KeepAside(file.file) : std::filesystem::path();
        if (!kept) {
            return tl::unexpected(kept.error());
        }
        copies.push_back(*std::move(kept));
    }
    const std::size_t restored = m_isIndexDamaged || isPendingDamaged ? RestoreFromSeals(unsettled) : 0;
    m_mustWriteIndex = m_mustWriteIndex || isPendingDamaged;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (files[i].isDamaged) {
            m_notices.push_back({ErrorCode::kFileCorrupt,
                                 files[i].file.string() + ": " + fmt::format(fmt::runtime(files[i].result), restored) +
                                     (copies[i].empty() ? "" : "; the file is kept as " + copies[i].string())});
        }
    }
    return {};
}

} // namespace tolvar
