#include "journal/change_places.h"

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

void AddText(ContentHash& hash, const NameView& text)
{
    const std::u16string units = text.ToUtf16();
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
    AddText(hash, value.name);
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

/// Sums a subtree up as it is walked. What comes in no order that counts is added, not chained.
class TreeSum {
public:
    explicit TreeSum(const Hive& hive) : m_hive(hive) {}

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
        ContentHash own;
        AddText(own, key.name);
        AddText(own, *className);
        AddNumber(own, key.Is(key_flags::kSymbolicLink) ? 1 : 0);
        AddNumber(own, *rights);
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
    struct Level {
        std::uint64_t own;
        std::uint64_t values;
        std::uint64_t subkeys;
    };

    void CloseDownTo(std::size_t depth)
    {
        while (m_levels.size() > depth) {
            const Level level = m_levels.back();
            m_levels.pop_back();
            const std::uint64_t sum = ContentHash::Of(std::as_bytes(std::span(&level, 1)));
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
    std::vector<Level> m_levels; ///< from the top to the current key
    std::uint64_t m_sum = 0;
    std::unordered_map<std::uint32_t, std::uint64_t> m_rights; ///< by the descriptor's cell
    std::optional<HiveFault> m_fault;
};

Result<PlaceDigest> DigestOfKey(const Hive& hive, CellOffset cell)
{
    const Checked<std::uint64_t> sum = TreeSum(hive).Of(cell);
    return sum ? Result<PlaceDigest>(Present(*sum)) : tl::unexpected(hive.ToError(sum.error()));
}

Result<PlaceDigest> DigestOfValue(const Hive& hive, const ValueRecord& value)
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

bool DoOverlap(const ChangePlace& left, const ChangePlace& right)
{
    if (left.value && right.value) {
        return CompareNames(left.key, right.key) == 0 && CompareNames(*left.value, *right.value) == 0;
    }
    return (!right.value && PathBelow(left.key, right.key)) || (!left.value && PathBelow(right.key, left.key));
}

ChangePlace OwnPlace(const Registry& registry, const ChangePlace& place)
{
    const WalkPermit permit(registry);
    std::string_view above = place.key;
    while (!above.empty()) {
        // Only the key itself may be a link that is meant; those on the way are followed.
        const bool isWhole = above.size() == place.key.size();
        if (const Result<KeyRef> found =
                permit.Names().Resolve(above, isWhole && !place.value ? LastLink::kOpen : LastLink::kFollow)) {
            const std::string_view missing = std::string_view(place.key).substr(above.size() + (isWhole ? 0 : 1));
            return {JoinPath(permit.Names().PathOf(*found), missing), place.value};
        }
        above = ParentPath(above);
    }
    return place;
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
    return *value ? DigestOfValue(*(*value)->hive, (*value)->record) : Result<PlaceDigest>(kAbsent);
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
    return *value ? DigestOfValue(hive, **value) : Result<PlaceDigest>(kAbsent);
}

} // namespace tolvar
