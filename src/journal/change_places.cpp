#include "journal/change_places.h"

#include <algorithm>
#include <unordered_map>

#include "journal/content_hash.h"
#include "platform/hive/hive_walk.h"
#include "platform/registry/key_view.h"
#include "platform/registry/walk_permit.h"
#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

namespace {

void AddNumber(ContentHash& hash, std::uint64_t number)
{
    hash.Add(std::as_bytes(std::span(&number, 1)));
}

void AddText(ContentHash& hash, const std::u16string& units)
{
    AddNumber(hash, units.size());
    hash.Add(std::as_bytes(std::span(units)));
}

/// Of anything that is there.
PlaceDigest Present(std::uint64_t sum) noexcept
{
    return sum == kAbsent ? 1 : sum;
}

Checked<std::uint64_t> SumOfValue(const Hive& hive, const ValueRecord& value, DataView data)
{
    ContentHash hash;
    AddText(hash, value.name.ToUtf16());
    AddNumber(hash, value.type);
    AddNumber(hash, data.size);
    while (true) {
        const Checked<std::span<const std::byte>> piece = hive.NextPiece(data);
        if (!piece || piece->empty()) {
            return piece ? Checked<std::uint64_t>(hash.Value()) : tl::unexpected(piece.error());
        }
        if (hive.IsUnreadable(*piece)) {
            return Fault(Breach::kMediumFailed, value.dataCell);
        }
        hash.Add(*piece);
    }
}

/// What a key itself adds to the sum of its subtree.
struct KeySum {
    std::u16string name;
    std::u16string className;
    bool isLink = false;
    std::uint64_t rights = 0;

    [[nodiscard]] std::uint64_t Value() const
    {
        ContentHash hash;
        std::u16string folded = name;
        std::ranges::transform(folded, folded.begin(), UpCase);
        AddText(hash, folded);
        AddText(hash, className);
        AddNumber(hash, isLink ? 1 : 0);
        AddNumber(hash, rights);
        return hash.Value();
    }
};

/// What is known of one level of a subtree.
struct LevelSum {
    std::uint64_t own = 0;
    std::uint64_t values = 0;
    std::uint64_t subkeys = 0;

    [[nodiscard]] std::uint64_t Value() const { return ContentHash::Of(std::as_bytes(std::span(this, 1))); }
};

/// Sums a subtree up as it is walked. What comes in no order that counts is added, not chained.
class TreeSum {
public:
    /// `topName`: what stands for the name of the top; empty: its own.
    TreeSum(const Hive& hive, std::u16string topName) : m_hive(hive), m_topName(std::move(topName)) {}

    [[nodiscard]] Checked<std::uint64_t> Of(CellOffset top)
    {
        HiveWalk(m_hive, *this).Run(top);
        CloseDownTo(0);
        return m_fault ? Checked<std::uint64_t>(tl::unexpected(*m_fault)) : m_sum;
    }

    bool OnKey(const KeyNode& key, unsigned depth)
    {
        CloseDownTo(depth);
        const Checked<NameView> className = m_hive.ClassName(key);
        const Checked<std::uint64_t> rights = RightsOf(key);
        if (!className || !rights) {
            OnFault(className ? rights.error() : className.error(), depth);
            return false;
        }
        const KeySum own{depth == 0 && !m_topName.empty() ? m_topName : key.name.ToUtf16(), className->ToUtf16(),
                         key.Is(key_flags::kSymbolicLink), *rights};
        m_levels.push_back({own.Value(), 0, 0});
        return true;
    }
    void OnValue(const ValueRecord& value, const DataView& data)
    {
        if (const Checked<std::uint64_t> sum = SumOfValue(m_hive, value, data)) {
            m_levels.back().values += *sum;
        } else {
            OnFault(sum.error(), 0);
        }
    }
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& fault, unsigned /*depth*/) { m_fault = m_fault.value_or(fault); }
    [[nodiscard]] bool IsStopped() const { return m_fault.has_value(); }

private:
    void CloseDownTo(std::size_t depth)
    {
        while (m_levels.size() > depth) {
            const std::uint64_t sum = m_levels.back().Value();
            m_levels.pop_back();
            (m_levels.empty() ? m_sum : m_levels.back().subkeys) += sum;
        }
    }

    /// Many keys share a descriptor.
    [[nodiscard]] Checked<std::uint64_t> RightsOf(const KeyNode& key)
    {
        const auto known = m_rights.find(key.security.value);
        if (known != m_rights.end()) {
            return known->second;
        }
        const auto descriptor = m_hive.SecurityDescriptor(key);
        if (!descriptor) {
            return tl::unexpected(descriptor.error());
        }
        return m_rights.emplace(key.security.value, ContentHash::Of(*descriptor)).first->second;
    }

    const Hive& m_hive;
    const std::u16string m_topName;
    std::vector<LevelSum> m_levels; ///< from the top to the current key
    std::uint64_t m_sum = 0;
    std::unordered_map<std::uint32_t, std::uint64_t> m_rights; ///< by the descriptor's cell
    std::optional<HiveFault> m_fault;
};

Result<PlaceDigest> DigestOfKey(const Hive& hive, CellOffset cell, std::u16string name = {})
{
    const Checked<std::uint64_t> sum = TreeSum(hive, std::move(name)).Of(cell);
    return sum ? Result<PlaceDigest>(Present(*sum)) : tl::unexpected(hive.ToError(sum.error()));
}

Result<PlaceDigest> DigestOfStored(const Hive& hive, const ValueRecord& value)
{
    const Checked<DataView> data = hive.Data(value);
    const Checked<std::uint64_t> sum = data ? SumOfValue(hive, value, *data) : tl::unexpected(data.error());
    return sum ? Result<PlaceDigest>(Present(*sum)) : tl::unexpected(hive.ToError(sum.error()));
}

/// A sister of the key at `path`, or nothing where it is the same but for its spelling.
std::optional<std::string> OtherName(const std::string& path, const std::string& name)
{
    const std::optional<ParentAndName> split = SplitLast(path);
    return !split || CompareNames(split->name, name) == 0 ? std::nullopt : std::optional(JoinPath(split->parent, name));
}

} // namespace

std::vector<ChangePlace> PlacesOf(const ChangeRecord& change)
{
    if (change.IsKey()) {
        if (change.kind == ChangeKind::kNew) {
            return {{JoinPath(change.path, change.secondPath), std::nullopt}};
        }
        std::vector<ChangePlace> places = {{change.path, std::nullopt}};
        if (change.kind == ChangeKind::kRename) {
            if (std::optional<std::string> other = OtherName(change.path, change.secondPath)) {
                places.push_back({*std::move(other), std::nullopt});
            }
        }
        return places;
    }
    if (change.kind == ChangeKind::kNew) {
        return {{change.path, change.NewName()}};
    }
    std::vector<ChangePlace> places = {{change.path, change.Name()}};
    if (change.newName && change.kind != ChangeKind::kDelete && CompareNames(change.Name(), change.NewName()) != 0) {
        places.push_back({change.path, change.NewName()});
    }
    return places;
}

namespace {

/// The nearest key that is there on the way to a path, and the names that are not.
struct NearestKey {
    KeyRef key;
    std::string_view missing;
};

std::optional<NearestKey> FindNearest(const NameSpace& names, std::string_view path, LastLink last)
{
    for (std::string_view above = path; !above.empty(); above = ParentPath(above)) {
        // Only the key itself may be a link that is meant; those on the way are followed.
        const bool isWhole = above.size() == path.size();
        if (const Result<KeyRef> found = names.Resolve(above, isWhole ? last : LastLink::kFollow)) {
            return NearestKey{*found, path.substr(above.size() + (isWhole ? 0 : 1))};
        }
    }
    return std::nullopt;
}

} // namespace

ChangePlace OwnPlace(const Registry& registry, const ChangePlace& place)
{
    const WalkPermit permit(registry);
    const std::optional<NearestKey> nearest =
        FindNearest(permit.Names(), place.key, place.value ? LastLink::kFollow : LastLink::kOpen);
    return nearest ? ChangePlace{JoinPath(permit.Names().PathOf(nearest->key), nearest->missing), place.value} : place;
}

HivePath PlaceInHive(const Registry& registry, std::string_view path)
{
    const WalkPermit permit(registry);
    const std::optional<NearestKey> nearest = FindNearest(permit.Names(), path, LastLink::kFollow);
    if (!nearest || nearest->key.First().mount->IsVolatile()) {
        return {};
    }
    const KeyPart& part = nearest->key.First();
    const std::string hive = permit.Names().PathOf(KeyPart{part.mount, part.Reader().Root()});
    const std::string own = permit.Names().PathOf(part);
    const std::string_view below = std::string_view(own).substr(std::min(hive.size() + 1, own.size()));
    return {hive, below.empty() ? std::string(nearest->missing) : JoinPath(below, nearest->missing)};
}

Result<PlaceDigest> DigestOf(const Registry& registry, const ChangePlace& place)
{
    const WalkPermit permit(registry);
    const Result<KeyRef> found = permit.Names().Resolve(place.key, place.value ? LastLink::kFollow : LastLink::kOpen);
    if (!found) {
        return found.error().code == ErrorCode::kFileNotFound ? Result<PlaceDigest>(kAbsent)
                                                              : tl::unexpected(found.error());
    }
    if (!place.value) {
        std::uint64_t sum = 0;
        for (const KeyPart& part : found->Parts()) {
            const Result<PlaceDigest> digest = DigestOfKey(part.Reader(), part.cell);
            if (!digest) {
                return digest;
            }
            sum = 31 * sum + *digest;
        }
        return Present(sum);
    }
    const std::optional<std::u16string> name = ToUtf16(*place.value);
    if (!name) {
        return Failure(ErrorCode::kNoUnicodeTranslation, *place.value);
    }
    const Checked<std::optional<SeenValue>> value = FindValue(*found, *name);
    if (!value) {
        return tl::unexpected(ToError(found->First(), value.error()));
    }
    return *value ? DigestOfStored(*(*value)->hive, (*value)->record) : Result<PlaceDigest>(kAbsent);
}

Result<PlaceDigest> DigestOf(const KeyImage& image, const ChangePlace& place)
{
    const Hive& hive = image.Inside();
    if (!place.value) {
        return DigestOfKey(hive, hive.Root());
    }
    const std::optional<std::u16string> name = ToUtf16(*place.value);
    const Checked<KeyNode> root = hive.Key(hive.Root());
    if (!name || !root) {
        return name ? tl::unexpected(hive.ToError(root.error()))
                    : Failure(ErrorCode::kNoUnicodeTranslation, *place.value);
    }
    const Checked<std::optional<ValueRecord>> value = hive.FindValue(*root, *name);
    if (!value) {
        return tl::unexpected(hive.ToError(value.error()));
    }
    return *value ? DigestOfStored(hive, **value) : Result<PlaceDigest>(kAbsent);
}

Result<PlaceDigest> DigestOfRenamed(const KeyImage& image, const std::string& name)
{
    std::optional<std::u16string> units = ToUtf16(name);
    return units ? DigestOfKey(image.Inside(), image.Inside().Root(), *std::move(units))
                 : Failure(ErrorCode::kNoUnicodeTranslation, name);
}

Result<PlaceDigest> DigestOfValue(const std::string& name, DWORD type, std::span<const BYTE> data)
{
    const std::optional<std::u16string> units = ToUtf16(name);
    if (!units) {
        return Failure(ErrorCode::kNoUnicodeTranslation, name);
    }
    ContentHash hash;
    AddText(hash, *units);
    AddNumber(hash, type);
    AddNumber(hash, data.size());
    hash.Add(std::as_bytes(data));
    return Present(hash.Value());
}

Result<PlaceDigest> DigestOfNewKey(const Registry& registry, const std::string& parent, const std::string& name)
{
    const WalkPermit permit(registry);
    const Result<KeyRef> found = permit.Names().Resolve(parent, LastLink::kFollow);
    std::optional<std::u16string> units = ToUtf16(name);
    if (!found || !units) {
        return found ? Failure(ErrorCode::kNoUnicodeTranslation, name) : tl::unexpected(found.error());
    }
    const KeyPart part = found->ForSubkeys();
    const Checked<KeyNode> node = part.Node();
    const auto rights = node ? part.Reader().SecurityDescriptor(*node) : tl::unexpected(node.error());
    if (!rights) {
        return tl::unexpected(ToError(part, rights.error()));
    }
    const LevelSum level{KeySum{*std::move(units), {}, false, ContentHash::Of(*rights)}.Value(), 0, 0};
    return Present(level.Value());
}

} // namespace tolvar
