#include "session/hive_journal.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "journal/content_hash.h"
#include "journal/journal_store.h"
#include "platform/files/file_place.h"
#include "platform/files/fresh_file.h"
#include "platform/hive/hive_mark.h"
#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

namespace {

constexpr const char* kMarkFile = "hive";
constexpr const char* kDataFolder = "backups";
constexpr std::string_view kMagic = "TVMARK01";
constexpr std::size_t kMostKeys = 64;
constexpr std::size_t kMostNames = 2;
constexpr std::size_t kMostUnits = 255;

template <class T>
void Put(std::vector<std::byte>& out, const T& value)
{
    const auto bytes = std::as_bytes(std::span(&value, 1));
    out.insert(out.end(), bytes.begin(), bytes.end());
}

std::vector<std::byte> EncodeMark(const HiveMark& mark)
{
    std::vector<std::byte> bytes;
    for (const char c : kMagic) {
        Put(bytes, c);
    }
    Put(bytes, mark.manager);
    Put(bytes, static_cast<std::uint32_t>(mark.oldest.size()));
    for (const HiveMark::DatedKey& key : mark.oldest) {
        Put(bytes, key.lastWrite);
        Put(bytes, static_cast<std::uint32_t>(key.path.size()));
        for (const std::u16string& name : key.path) {
            Put(bytes, static_cast<std::uint32_t>(name.size()));
            for (const char16_t unit : name) {
                Put(bytes, unit);
            }
        }
    }
    Put(bytes, ContentHash::Of(bytes));
    return bytes;
}

/// Takes values off the front of bytes that are known to be what was written, but for their version.
class MarkReader {
public:
    explicit MarkReader(std::span<const std::byte> bytes) : m_rest(bytes) {}

    template <class T>
    bool Take(T& value)
    {
        if (m_rest.size() < sizeof value) {
            return false;
        }
        std::memcpy(&value, m_rest.data(), sizeof value);
        m_rest = m_rest.subspan(sizeof value);
        return true;
    }
    bool TakeCount(std::uint32_t& count, std::size_t most) { return Take(count) && count <= most; }

private:
    std::span<const std::byte> m_rest;
};

bool TakeKey(MarkReader& reader, HiveMark::DatedKey& key)
{
    std::uint32_t names = 0;
    if (!reader.Take(key.lastWrite) || !reader.TakeCount(names, kMostNames)) {
        return false;
    }
    key.path.resize(names);
    for (std::u16string& name : key.path) {
        std::uint32_t units = 0;
        if (!reader.TakeCount(units, kMostUnits)) {
            return false;
        }
        name.resize(units);
        for (char16_t& unit : name) {
            if (!reader.Take(unit)) {
                return false;
            }
        }
    }
    return true;
}

std::optional<HiveMark> DecodeMark(std::span<const std::byte> bytes)
{
    std::uint64_t sum = 0;
    if (bytes.size() < kMagic.size() + sizeof sum) {
        return std::nullopt;
    }
    const std::span<const std::byte> content = bytes.first(bytes.size() - sizeof sum);
    MarkReader end(bytes.last(sizeof sum));
    if (!end.Take(sum) || sum != ContentHash::Of(content) ||
        std::memcmp(content.data(), kMagic.data(), kMagic.size()) != 0) {
        return std::nullopt;
    }
    MarkReader reader(content.subspan(kMagic.size()));
    HiveMark mark;
    std::uint32_t keys = 0;
    if (!reader.Take(mark.manager) || !reader.TakeCount(keys, kMostKeys)) {
        return std::nullopt;
    }
    mark.oldest.resize(keys);
    for (HiveMark::DatedKey& key : mark.oldest) {
        if (!TakeKey(reader, key)) {
            return std::nullopt;
        }
    }
    return mark;
}

std::optional<HiveMark> ReadMark(FileStore& files, const std::filesystem::path& folder)
{
    const std::filesystem::path file = folder / kMarkFile;
    const Result<MappedFile> map =
        files.Exists(file) ? files.MapForReading(file) : Failure(ErrorCode::kFileNotFound, file.string());
    return map && !map->AnyFailed() ? DecodeMark(map->Bytes()) : std::nullopt;
}

/// Where keys of a hive have been changed, by the journal in a folder: also where a crash kept their new times out of
/// the mark.
class OwnWork {
public:
    OwnWork(FileStore& files, const std::filesystem::path& folder)
    {
        JournalPlace place;
        place.dataFolder = folder / kDataFolder;
        place.isReadOnly = true;
        place.files = &files;
        JournalStore store(std::move(place));
        if (!store.Open()) {
            return;
        }
        for (const std::string& record : store.Records()) {
            Add(store, record);
        }
        for (const RedoLog::Step& step : store.Undone()) {
            std::ranges::for_each(step, [&](const UndoneEntry& undone) { Add(store, undone.record); });
        }
    }

    /// Whether a change may have moved the time of a key, or taken it away.
    [[nodiscard]] bool MayHaveTouched(const HiveMark::DatedKey& key) const
    {
        std::string path;
        for (const std::u16string& name : key.path) {
            path = path.empty() ? ToUtf8(name, NulForm::kPlain) : JoinPath(path, ToUtf8(name, NulForm::kPlain));
        }
        path = UpCased(path);
        for (std::string_view above = path; !above.empty(); above = ParentPath(above)) {
            if (m_keys.contains(std::string(above))) {
                return true;
            }
        }
        return m_parents.contains(path) || m_keys.contains(std::string());
    }

private:
    void Add(const JournalStore& store, const std::string& record)
    {
        const Result<SnapshotSeal> seal = store.Seal(FrameKind::kChange, record);
        if (!seal || seal->hive.hive.empty()) {
            return;
        }
        const std::string path = UpCased(seal->hive.below);
        const bool isOfTree = seal->change.IsKey() && seal->change.kind != ChangeKind::kNew;
        (isOfTree ? m_keys : m_parents).insert(path);
        m_parents.emplace(ParentPath(path));
    }

    std::unordered_set<std::string> m_keys;    ///< that were changed with all below them
    std::unordered_set<std::string> m_parents; ///< whose own times moved
};

/// Whether a folder's mark is a hive's, once the keys that this program itself has changed are left out.
bool IsMarkedBesideOwnWork(FileStore& files, const std::filesystem::path& folder, const Hive& hive, HiveMark mark)
{
    if (IsManaged(hive) && IsManaged(mark)) {
        return false;
    }
    const OwnWork work(files, folder);
    std::erase_if(mark.oldest, [&work](const HiveMark::DatedKey& key) { return work.MayHaveTouched(key); });
    return IsMarked(hive, mark);
}

/// A hive by its file and its key, as journals were named that had all hives of a session in them.
std::string OldId(const MountRequest& request)
{
    std::error_code error;
    const std::filesystem::path file = std::filesystem::weakly_canonical(request.file, error);
    const std::string text = (error ? request.file : file).string() + '\n' + UpCased(request.KeyPath()) + '\n';
    return fmt::format("{:016x}", ContentHash::Of(std::as_bytes(std::span(text))));
}

} // namespace

std::string HiveId(const std::filesystem::path& file)
{
    const FilePlace place = PlaceOfFile(file);
    const std::string text = place.fileSystem + '\n' + place.path.string();
    return fmt::format("{:016x}", ContentHash::Of(std::as_bytes(std::span(text))));
}

HiveJournal FindHiveJournal(FileStore& files, const std::filesystem::path& sources, const MountRequest& request,
                            const Hive& hive)
{
    const auto isHives = [&](const std::filesystem::path& folder) {
        const std::optional<HiveMark> mark = ReadMark(files, folder);
        return !mark || IsMarked(hive, *mark) || IsMarkedBesideOwnWork(files, folder, hive, *mark);
    };
    const std::string id = HiveId(request.file);
    std::filesystem::path folder = sources / id;
    std::optional<std::filesystem::path> others;
    for (int number = 2; files.Exists(folder); ++number) {
        if (isHives(folder)) {
            return {folder, false, std::nullopt};
        }
        others = std::exchange(folder, sources / fmt::format("{}-{}", id, number));
    }
    if (const std::filesystem::path old = sources / OldId(request); files.Exists(old) && isHives(old)) {
        return {old, false, std::nullopt};
    }
    return {folder, true, others};
}

Result<void> KeepMark(FileStore& files, const std::filesystem::path& folder, const Hive& hive)
{
    const std::optional<HiveMark> mark = ReadMark(files, folder);
    if (mark && 4 * CountKept(hive, *mark) >= 3 * mark->oldest.size()) {
        return {};
    }
    if (auto made = files.MakeFolder(folder); !made) {
        return made;
    }
    Result<FreshFile> fresh = FreshFile::Begin(files, folder / kMarkFile, FreshFile::Existing::kReplace);
    if (!fresh) {
        return tl::unexpected(fresh.error());
    }
    auto done = fresh->Append(EncodeMark(MarkOf(hive)));
    return done ? fresh->TakePlace() : done;
}

} // namespace tolvar
