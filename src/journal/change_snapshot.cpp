#include "journal/change_snapshot.h"

#include <algorithm>
#include <cstring>

#include "journal/content_hash.h"
#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

namespace {

constexpr std::string_view kMagic = "TVSEAL01";
constexpr std::uint32_t kFirstFormat = 1;
constexpr std::uint32_t kFirstHiveFormat = 3;
constexpr std::uint32_t kFormat = 3;
constexpr std::size_t kEnd = 4 + 8 + kMagic.size();
constexpr std::uint32_t kTextIsWhole = 1;

template <class T>
void Put(std::string& out, T value)
{
    const std::size_t at = out.size();
    out.resize(at + sizeof value);
    std::memcpy(out.data() + at, &value, sizeof value);
}

void PutText(std::string& out, std::string_view text)
{
    Put(out, static_cast<std::uint32_t>(text.size()));
    out.append(text);
}

/// Takes fields off the front; after one that is not there, nothing is.
class FieldReader {
public:
    explicit FieldReader(std::span<const std::byte> bytes) : m_rest(bytes) {}

    template <class T>
    T Number()
    {
        T value = 0;
        m_isGood = m_isGood && m_rest.size() >= sizeof value;
        if (m_isGood) {
            std::memcpy(&value, m_rest.data(), sizeof value);
            m_rest = m_rest.subspan(sizeof value);
        }
        return value;
    }
    std::string Text()
    {
        const auto size = Number<std::uint32_t>();
        m_isGood = m_isGood && m_rest.size() >= size;
        if (!m_isGood) {
            return {};
        }
        const std::string text(reinterpret_cast<const char*>(m_rest.data()), size);
        m_rest = m_rest.subspan(size);
        return text;
    }
    [[nodiscard]] bool IsGood() const noexcept { return m_isGood; }

private:
    std::span<const std::byte> m_rest;
    bool m_isGood = true;
};

std::vector<PlaceState> TakePlaces(FieldReader& fields)
{
    constexpr std::uint32_t kMostPlaces = 2;
    const auto count = fields.Number<std::uint32_t>();
    std::vector<PlaceState> places;
    for (std::uint32_t i = 0; i < std::min(count, kMostPlaces + 1) && fields.IsGood(); ++i) {
        places.push_back({fields.Number<PlaceDigest>(), fields.Number<PlaceDigest>()});
    }
    return places;
}

tl::unexpected<Error> Broken()
{
    return Failure(ErrorCode::kFileCorrupt, "the snapshot is cut or altered");
}

} // namespace

void SnapshotSeal::MoveTo(std::string_view home)
{
    if (home.empty() || hive.hive.empty() || UpCased(home) == UpCased(hive.hive)) {
        return;
    }
    change.path = JoinPath(home, hive.below);
    if (!change.IsKey()) { // of a key it is a name
        change.secondPath = change.path;
    }
    isMoved = true;
}

std::string SealOf(std::span<const std::byte> image, const SnapshotSeal& seal)
{
    const ChangeRecord& change = seal.change;
    std::string content;
    Put(content, kFormat);
    Put(content, static_cast<std::uint32_t>(change.kind));
    Put(content, static_cast<std::uint32_t>(change.object));
    Put(content, static_cast<std::uint32_t>(change.type));
    Put(content, seal.isTextWhole ? kTextIsWhole : 0U);
    Put(content, std::uint64_t{image.size()});
    Put(content, ContentHash::Of(image));
    Put(content, seal.textSize);
    Put(content, seal.textSum);
    for (const std::string& text : {seal.record, change.path, change.secondPath, change.Name(), change.NewName(),
                                    seal.group, seal.hive.hive, seal.hive.below}) {
        PutText(content, text);
    }
    Put(content, static_cast<std::uint32_t>(seal.places.size()));
    for (const PlaceState& place : seal.places) {
        Put(content, place.before);
        Put(content, place.after);
    }
    const auto size = static_cast<std::uint32_t>(content.size());
    const std::uint64_t sum = ContentHash::Of(std::as_bytes(std::span(content)));
    Put(content, size);
    Put(content, sum);
    return content.append(kMagic);
}

Result<SnapshotView> ParseSnapshot(std::span<const std::byte> bytes)
{
    if (bytes.size() < kEnd) {
        return Broken();
    }
    const auto size = FieldReader(bytes.last(kEnd)).Number<std::uint32_t>();
    return size > bytes.size() - kEnd ? Broken()
                                      : ParseSnapshot(bytes.first(bytes.size() - kEnd - size), bytes.last(kEnd + size));
}

Result<SnapshotView> ParseSnapshot(std::span<const std::byte> image, std::span<const std::byte> seal)
{
    if (seal.size() < kEnd || std::memcmp(seal.last(kMagic.size()).data(), kMagic.data(), kMagic.size()) != 0) {
        return Broken();
    }
    FieldReader end(seal.last(kEnd));
    const auto size = end.Number<std::uint32_t>();
    const auto sum = end.Number<std::uint64_t>();
    if (size != seal.size() - kEnd || ContentHash::Of(seal.first(size)) != sum) {
        return Broken();
    }
    SnapshotView view;
    ChangeRecord& change = view.seal.change;
    FieldReader fields(seal.first(size));
    const auto format = fields.Number<std::uint32_t>();
    change.kind = static_cast<ChangeKind>(fields.Number<std::uint32_t>());
    change.object = static_cast<ChangeObject>(fields.Number<std::uint32_t>());
    change.type = fields.Number<std::uint32_t>();
    const auto flags = fields.Number<std::uint32_t>();
    view.seal.isTextWhole = (flags & kTextIsWhole) != 0;
    const auto imageSize = fields.Number<std::uint64_t>();
    const auto imageSum = fields.Number<std::uint64_t>();
    view.seal.textSize = fields.Number<std::uint64_t>();
    view.seal.textSum = fields.Number<std::uint64_t>();
    view.seal.record = fields.Text();
    change.path = fields.Text();
    change.secondPath = fields.Text();
    change.name = fields.Text();
    change.newName = fields.Text();
    if (format != kFirstFormat) {
        view.seal.group = fields.Text();
        if (format >= kFirstHiveFormat) {
            view.seal.hive.hive = fields.Text();
            view.seal.hive.below = fields.Text();
        }
        view.seal.places = TakePlaces(fields);
    }
    const bool isKind = change.kind >= ChangeKind::kDelete && change.kind <= ChangeKind::kNew;
    const bool isObject = change.object >= ChangeObject::kKey && change.object <= ChangeObject::kEditedValue;
    const bool isFormat = format >= kFirstFormat && format <= kFormat;
    if (!fields.IsGood() || !isFormat || !isKind || !isObject ||
        (!view.seal.places.empty() && view.seal.places.size() != PlacesOf(change).size())) {
        return Broken();
    }
    if (image.size() == imageSize && ContentHash::Of(image) == imageSum) {
        view.image = image;
    }
    return view;
}

Result<ChangeSnapshot> ChangeSnapshot::Open(FileStore& files, const std::filesystem::path& path)
{
    if (!files.Exists(path)) {
        return Failure(ErrorCode::kFileNotFound, path.string());
    }
    Result<MappedFile> map = files.Map(path, 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    ChangeSnapshot snapshot;
    snapshot.m_file = *std::move(map);
    Result<SnapshotView> view = ParseSnapshot(snapshot.m_file.Bytes());
    if (!view) {
        view.error().context = path.string();
        return tl::unexpected(view.error());
    }
    snapshot.Take(*std::move(view), path.string());
    return snapshot;
}

Result<ChangeSnapshot> ChangeSnapshot::FromParts(std::vector<std::byte> image, std::span<const std::byte> seal)
{
    ChangeSnapshot snapshot;
    snapshot.m_bytes = std::move(image);
    Result<SnapshotView> view = ParseSnapshot(snapshot.m_bytes, seal);
    if (!view) {
        return tl::unexpected(view.error());
    }
    snapshot.Take(*std::move(view), "snapshot");
    return snapshot;
}

void ChangeSnapshot::Take(SnapshotView view, const std::string& name)
{
    m_seal = std::move(view.seal);
    if (!view.image.empty()) {
        if (Result<KeyImage> image = KeyImage::FromBytes(view.image, name)) {
            m_image.emplace(*std::move(image));
        }
    }
}

} // namespace tolvar
