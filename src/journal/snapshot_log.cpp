#include "journal/snapshot_log.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <set>

#include "journal/content_hash.h"
#include "journal/stamp.h"

namespace tolvar {

namespace {

constexpr std::string_view kMagic = "TVSNAP01";
constexpr std::string_view kEnding = ".log";
constexpr std::size_t kHead = kMagic.size() + 4 * sizeof(std::uint32_t) + 2 * sizeof(std::uint64_t);
constexpr std::size_t kTail = sizeof(std::uint64_t);
constexpr std::size_t kPieceHead = 2 * sizeof(std::uint32_t);
constexpr std::size_t kDayDigits = 8;
constexpr std::size_t kZeroRun = 16;             // shorter runs of zeros stay in their piece
constexpr std::size_t kMostPieces = 64 * 1024;   // larger images lie in files of their own
constexpr std::uint64_t kMostImage = 16U << 20U; // what is expanded in memory

std::string_view DayOf(std::string_view stamp)
{
    return stamp.substr(0, kDayDigits);
}

std::uint64_t NumberOf(std::string_view stamp)
{
    std::uint64_t number = 0;
    std::from_chars(stamp.data(), stamp.data() + stamp.size(), number);
    return number;
}

template <class T>
void Put(std::string& out, T value)
{
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
T Take(std::span<const std::byte>& bytes)
{
    T value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes = bytes.subspan(sizeof value);
    return value;
}

/// The image without its runs of zeros; nothing where too much is left.
std::optional<std::string> PiecesOf(std::span<const std::byte> image)
{
    std::string pieces;
    const auto isZero = [](std::byte byte) { return byte == std::byte{0}; };
    for (auto at = std::ranges::find_if_not(image, isZero); at != image.end();) {
        auto end = at;
        auto next = at;
        do { // up to a run of zeros that is worth a piece
            end = std::find_if(next, image.end(), isZero);
            next = std::find_if_not(end, image.end(), isZero);
        } while (next != image.end() && static_cast<std::size_t>(next - end) < kZeroRun);
        if (pieces.size() + kPieceHead + static_cast<std::size_t>(end - at) > kMostPieces) {
            return std::nullopt;
        }
        Put(pieces, static_cast<std::uint32_t>(at - image.begin()));
        Put(pieces, static_cast<std::uint32_t>(end - at));
        pieces.append(reinterpret_cast<const char*>(&*at), static_cast<std::size_t>(end - at));
        at = next;
    }
    return pieces;
}

/// The image that pieces make; shorter than `size` where they don't fit.
std::vector<std::byte> ImageFrom(std::span<const std::byte> pieces, std::size_t size)
{
    std::vector<std::byte> image(size);
    while (!pieces.empty()) {
        if (pieces.size() < kPieceHead) {
            return {};
        }
        const auto offset = Take<std::uint32_t>(pieces);
        const auto length = Take<std::uint32_t>(pieces);
        if (length > pieces.size() || offset > size || length > size - offset) {
            return {};
        }
        std::ranges::copy(pieces.first(length), image.begin() + offset);
        pieces = pieces.subspan(length);
    }
    return image;
}

std::string FrameOf(FrameKind kind, std::string_view stamp, std::size_t image, std::string_view pieces,
                    std::string_view seal)
{
    std::string frame(kMagic);
    Put(frame, static_cast<std::uint32_t>(kind));
    Put(frame, static_cast<std::uint32_t>(seal.size()));
    Put(frame, static_cast<std::uint32_t>(pieces.size()));
    Put(frame, static_cast<std::uint32_t>(image));
    Put(frame, NumberOf(stamp));
    Put(frame, ContentHash::Of(std::as_bytes(std::span(frame))));
    frame.append(pieces).append(seal);
    Put(frame, std::uint64_t{frame.size() + kTail});
    return frame;
}

} // namespace

struct SnapshotLog::Head {
    FrameKind kind;
    std::uint64_t stamp;
    Frame frame;
    std::uint64_t size; ///< of the whole frame

    /// The frame that begins at `offset`; nothing where none does, or it is cut short.
    static std::optional<Head> Read(std::span<const std::byte> bytes, std::uint64_t offset)
    {
        std::span<const std::byte> rest = bytes.subspan(offset);
        if (rest.size() < kHead + kTail || std::memcmp(rest.data(), kMagic.data(), kMagic.size()) != 0) {
            return std::nullopt;
        }
        const auto summed = rest.first(kHead - sizeof(std::uint64_t));
        rest = rest.subspan(kMagic.size());
        Head head = {};
        head.kind = static_cast<FrameKind>(Take<std::uint32_t>(rest));
        head.frame.seal = Take<std::uint32_t>(rest);
        head.frame.pieces = Take<std::uint32_t>(rest);
        head.frame.image = Take<std::uint32_t>(rest);
        head.stamp = Take<std::uint64_t>(rest);
        const auto sum = Take<std::uint64_t>(rest);
        head.frame.offset = offset + kHead;
        const std::uint64_t content = std::uint64_t{head.frame.seal} + head.frame.pieces;
        head.size = kHead + content + kTail;
        if (sum != ContentHash::Of(summed) || content > rest.size() - kTail) {
            return std::nullopt;
        }
        std::span<const std::byte> tail = rest.subspan(content, kTail);
        return Take<std::uint64_t>(tail) == head.size ? std::optional(head) : std::nullopt;
    }
};

std::filesystem::path SnapshotLog::DayFile(std::string_view day) const
{
    return m_folder / std::string(day).append(kEnding);
}

std::filesystem::path SnapshotLog::RedoFile(std::string_view stamp) const
{
    return m_folder / std::string(stamp).append(".redo");
}

void SnapshotLog::ReadFrames(Day& day)
{
    const std::span<const std::byte> bytes = day.map.Bytes();
    std::uint64_t offset = day.read;
    while (offset < bytes.size()) {
        const std::optional<Head> head = Head::Read(bytes, offset);
        if (!head) { // a torn end, unless something comes behind it
            const auto rest = bytes.subspan(offset + 1);
            const auto next = std::ranges::search(rest, std::as_bytes(std::span(kMagic)));
            offset += 1 + static_cast<std::uint64_t>(next.begin() - rest.begin());
            continue;
        }
        day.isDamaged = day.isDamaged || offset != day.read;
        offset += head->size;
        day.read = offset;
        if (head->kind == FrameKind::kGone) {
            day.changes.erase(head->stamp);
            day.redos.erase(head->stamp);
        } else {
            (head->kind == FrameKind::kRedo ? day.redos : day.changes)[head->stamp] = head->frame;
        }
    }
}

Result<SnapshotLog::Day*> SnapshotLog::Read(std::string_view day) const
{
    const auto known = m_days.find(day);
    const bool isOpen = m_file != nullptr && day == m_day;
    if (known != m_days.end() && (!isOpen || known->second.read == m_end)) {
        return &known->second;
    }
    const std::filesystem::path file = DayFile(day);
    Day& read = m_days[std::string(day)];
    if (m_files->Exists(file)) {
        Result<MappedFile> map = m_files->Map(file, 0);
        if (!map) {
            m_days.erase(std::string(day));
            return tl::unexpected(map.error());
        }
        read.map = *std::move(map);
        ReadFrames(read);
        if (read.map.AnyFailed()) {
            m_days.erase(std::string(day));
            return Failure(ErrorCode::kReadFault, "read " + file.string());
        }
    }
    return &read;
}

Result<ChangeSnapshot> SnapshotLog::Open(const Day& day, const Frame& frame, bool withImage)
{
    const auto bytes = day.map.Bytes();
    const auto pieces = bytes.subspan(frame.offset, frame.pieces);
    const auto seal = bytes.subspan(frame.offset + frame.pieces, frame.seal);
    return ChangeSnapshot::FromParts(
        withImage && frame.image <= kMostImage ? ImageFrom(pieces, frame.image) : std::vector<std::byte>(), seal);
}

Result<ChangeSnapshot> SnapshotLog::Find(FrameKind kind, std::string_view stamp) const
{
    return Find(kind, stamp, true);
}

Result<SnapshotSeal> SnapshotLog::FindSeal(FrameKind kind, std::string_view stamp) const
{
    const Result<ChangeSnapshot> snapshot = Find(kind, stamp, false);
    return snapshot ? Result<SnapshotSeal>(snapshot->Seal()) : tl::unexpected(snapshot.error());
}

Result<ChangeSnapshot> SnapshotLog::Find(FrameKind kind, std::string_view stamp, bool withImage) const
{
    if (!IsStamp(stamp)) {
        return Failure(ErrorCode::kInvalidData, std::string(stamp));
    }
    const Result<Day*> day = Read(DayOf(stamp));
    if (!day) {
        return tl::unexpected(day.error());
    }
    const auto& frames = kind == FrameKind::kRedo ? (*day)->redos : (*day)->changes;
    if (const auto found = frames.find(NumberOf(stamp)); found != frames.end()) {
        return Open(**day, found->second, withImage);
    }
    const std::filesystem::path file = kind == FrameKind::kRedo ? RedoFile(stamp) : File(stamp);
    if (m_files->Exists(file)) {
        return ChangeSnapshot::Open(*m_files, file);
    }
    return Failure((*day)->isDamaged ? ErrorCode::kFileCorrupt : ErrorCode::kFileNotFound, File(stamp).string());
}

Result<std::vector<std::byte>> SnapshotLog::UnsealedImage(std::string_view stamp) const
{
    const Result<Day*> day = IsStamp(stamp) ? Read(DayOf(stamp)) : Failure(ErrorCode::kInvalidData, std::string(stamp));
    if (!day) {
        return tl::unexpected(day.error());
    }
    if (const auto found = (*day)->changes.find(NumberOf(stamp)); found != (*day)->changes.end()) {
        const Frame& frame = found->second;
        return ImageFrom((*day)->map.Bytes().subspan(frame.offset, frame.pieces),
                         frame.image <= kMostImage ? frame.image : 0);
    }
    if (!HasFile(stamp)) {
        return Failure(ErrorCode::kFileNotFound, File(stamp).string());
    }
    const Result<MappedFile> map = m_files->Map(File(stamp), 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    return std::vector<std::byte>(map->Bytes().begin(), map->Bytes().end()); // its readers stop where the hive does
}

/// Opens a day's file, and finds where its frames end: by the last one, or by all of them where the last was cut.
Result<void> SnapshotLog::OpenForAdding(std::string_view day)
{
    if (m_file != nullptr && day == m_day) {
        return {};
    }
    if (m_isFileStale) {
        m_unsynced.push_back(DayFile(m_day));
    }
    const std::filesystem::path file = DayFile(day);
    const bool isNew = !m_files->Exists(file);
    Result<std::unique_ptr<StoredFile>> stored = m_files->Open(file, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    std::uint64_t end = 0;
    if (!isNew) {
        const Result<MappedFile> map = m_files->Map(file, 0);
        if (!map) {
            return tl::unexpected(map.error());
        }
        const auto bytes = map->Bytes();
        end = bytes.size();
        std::uint64_t last = 0;
        if (end >= kTail) {
            std::memcpy(&last, bytes.last(kTail).data(), kTail);
        }
        if (end != 0 && (last > end || last == 0 || !Head::Read(bytes, end - last))) {
            const Result<Day*> read = Read(day);
            if (!read) {
                return tl::unexpected(read.error());
            }
            end = (*read)->read;
        }
    }
    m_file = *std::move(stored);
    m_day = day;
    m_end = end;
    m_isFileNew = isNew;
    m_isFileStale = false;
    return {};
}

Result<void> SnapshotLog::AddFrames(std::string_view day, std::string_view bytes)
{
    if (auto opened = OpenForAdding(day); !opened) {
        return opened;
    }
    if (auto written = m_file->Write(m_end, std::as_bytes(std::span(bytes))); !written) {
        return written;
    }
    m_end += bytes.size();
    m_isFileStale = true;
    return {};
}

Result<void> SnapshotLog::AddFile(const std::filesystem::path& file, std::span<const std::byte> image,
                                  std::string_view seal)
{
    Result<std::unique_ptr<StoredFile>> stored = m_files->Open(file, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    m_unsynced.push_back(file);
    Result<void> done = (*stored)->Resize(0);
    done = done ? (*stored)->Write(0, image) : done;
    return done ? (*stored)->Write(image.size(), std::as_bytes(std::span(seal))) : done;
}

Result<void> SnapshotLog::Add(FrameKind kind, std::string_view stamp, std::span<const std::byte> image,
                              const SnapshotSeal& seal)
{
    const std::string sealed = SealOf(image, seal);
    const std::optional<std::string> pieces = image.size() <= kMostImage ? PiecesOf(image) : std::nullopt;
    if (!pieces) {
        return AddFile(kind == FrameKind::kRedo ? RedoFile(stamp) : File(stamp), image, sealed);
    }
    return AddFrames(DayOf(stamp), FrameOf(kind, stamp, image.size(), *pieces, sealed));
}

Result<void> SnapshotLog::Sync()
{
    if (m_isFileStale) {
        auto synced = m_file->Sync();
        synced = synced && m_isFileNew ? m_files->SyncFolder(m_folder) : synced;
        if (!synced) {
            return synced;
        }
        m_isFileNew = false;
        m_isFileStale = false;
    }
    std::erase_if(m_unsynced, [this](const std::filesystem::path& file) { return !m_files->Exists(file); });
    if (auto synced = m_files->SyncAll(m_unsynced); !synced) {
        return synced;
    }
    m_unsynced.clear();
    return {};
}

void SnapshotLog::Remove(std::span<const std::string> stamps)
{
    std::map<std::string_view, std::string> frames; // by day
    for (const std::string& stamp : stamps) {
        if (IsStamp(stamp)) {
            frames[DayOf(stamp)] += FrameOf(FrameKind::kGone, stamp, 0, {}, {});
            for (const std::filesystem::path& file : {File(stamp), RedoFile(stamp)}) {
                if (m_files->Exists(file)) {
                    static_cast<void>(m_files->Remove(file));
                }
            }
        }
    }
    for (const auto& [day, bytes] : frames) {
        if (!m_files->Exists(DayFile(day))) {
            continue;
        }
        static_cast<void>(AddFrames(day, bytes));
        const Result<Day*> left = Read(day);
        if (left && !(*left)->isDamaged && (*left)->changes.empty() && (*left)->redos.empty()) {
            RemoveDay(day);
        }
    }
}

void SnapshotLog::RemoveDay(std::string_view day)
{
    if (day == m_day) {
        m_file.reset();
        m_day.clear();
        m_isFileStale = false;
    }
    if (const auto known = m_days.find(day); known != m_days.end()) {
        m_days.erase(known);
    }
    static_cast<void>(m_files->Remove(DayFile(day)));
}

void SnapshotLog::ForEachSeal(const std::function<void(const SnapshotSeal&)>& visit) const
{
    for (const std::string& name : m_files->List(m_folder).value_or(std::vector<std::string>())) {
        if (IsStamp(name)) {
            if (const Result<ChangeSnapshot> snapshot = ChangeSnapshot::Open(*m_files, File(name))) {
                visit(snapshot->Seal());
            }
            continue;
        }
        const bool isDay = name.size() == kDayDigits + kEnding.size() && name.ends_with(kEnding);
        const Result<Day*> day = isDay ? Read(DayOf(name)) : Failure(ErrorCode::kFileNotFound);
        if (!day) {
            continue;
        }
        for (const auto& [stamp, frame] : (*day)->changes) {
            if (const Result<ChangeSnapshot> snapshot = Open(**day, frame, false)) {
                visit(snapshot->Seal());
            }
        }
    }
}

bool SnapshotLog::HasSeveral() const
{
    std::set<std::string> commands;
    ForEachSeal(
        [&commands](const SnapshotSeal& seal) { commands.insert(seal.group.empty() ? seal.record : seal.group); });
    return commands.size() > 1;
}

void SnapshotLog::RemoveDays(const std::function<bool(std::string_view)>& isNeeded)
{
    for (const std::string& name : m_files->List(m_folder).value_or(std::vector<std::string>())) {
        const std::string_view day = DayOf(name);
        if (name.size() != kDayDigits + kEnding.size() || !name.ends_with(kEnding) || isNeeded(day)) {
            continue;
        }
        RemoveDay(day);
    }
}

} // namespace tolvar
