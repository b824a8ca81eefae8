#include "platform/hive/hive_validator.h"

#include <algorithm>
#include <map>
#include <vector>

#include <fmt/format.h>

#include "platform/hive/bin_header.h"
#include "platform/hive/cell_claims.h"
#include "platform/hive/hive_walk.h"
#include "platform/security/descriptor.h"

namespace tolvar {

namespace {

constexpr std::uint16_t kFlagsNotOnDisk = key_flags::kVolatile | key_flags::kHiveExit;

/// One key on the way down, with what its children have shown so far.
struct Level {
    KeyNode key;
    SubkeyCursor subkeys;
    NameView previousName; ///< of the last readable subkey
    std::uint32_t listed = 0;
    std::uint32_t longestName = 0;  ///< bytes of UTF-16
    std::uint32_t longestClass = 0; ///< bytes
};

class Validator {
public:
    Validator(const Hive& hive, const std::function<void(const Finding&)>& sink)
        : m_hive(hive), m_sink(sink), m_starts(hive.Length()), m_claims(hive.Length())
    {}

    ValidationSummary Run()
    {
        CheckBaseBlock();
        CheckBins();
        CheckTree();
        CheckSecurity();
        CheckUnreferenced();
        return m_summary;
    }

private:
    void Report(Severity severity, Breach breach, std::uint64_t filePosition, std::string_view detail = {})
    {
        ++(severity == Severity::kError ? m_summary.errors : m_summary.warnings);
        std::string meaning(BreachMeaning(breach));
        if (!detail.empty()) {
            meaning.append(": ").append(detail);
        }
        m_sink({severity, breach, filePosition, std::move(meaning)});
    }
    void Report(Severity severity, Breach breach, CellOffset at, std::string_view detail = {})
    {
        Report(severity, breach, at.FilePosition(), detail);
    }
    void ReportFault(const HiveFault& fault) { Report(Severity::kError, fault.breach, fault.at, Path()); }

    /// The key that is being looked at, from the hive's root on. Of a long path only the end: there may be as many
    /// findings as the key has values.
    [[nodiscard]] std::string Path() const
    {
        constexpr std::size_t kEnough = 256; // units
        std::size_t first = m_levels.size();
        for (std::size_t units = 0; first != 0 && units < kEnough; --first) {
            units += m_levels[first - 1].key.name.size();
        }
        std::string path = first != 0 ? "..." : "";
        for (std::size_t i = first; i < m_levels.size(); ++i) {
            if (!path.empty()) {
                path.push_back('\\');
            }
            m_levels[i].key.name.AppendUtf8(path);
        }
        return path;
    }

    void CheckBaseBlock()
    {
        const BaseBlock& base = m_hive.Base();
        if (m_hive.Damage()) {
            Report(Severity::kError, Breach::kFileShort, m_hive.FileBytes().size());
        }
        if (base.sequence1 != base.sequence2) {
            Report(Severity::kWarning, Breach::kBaseBlock, std::uint64_t{base_fields::kSequence1.at},
                   fmt::format("the sequence numbers {} and {} differ, the hive was not closed cleanly", base.sequence1,
                               base.sequence2));
        }
        if (const std::uint32_t cluster = Load(m_hive.FileBytes(), base_fields::kCluster); cluster != 1) {
            Report(Severity::kError, Breach::kBaseBlock, std::uint64_t{base_fields::kCluster.at},
                   fmt::format("the cluster factor is {}, and not 1", cluster));
        }
    }

    /// Walks bins and cells once and notes where allocated cells begin.
    void CheckBins()
    {
        std::uint32_t at = 0;
        while (at < m_hive.Length()) {
            const std::byte* bin = m_hive.Bins().data() + at;
            const std::uint32_t rest = m_hive.Length() - at;
            const bool isUnreadable = m_hive.IsUnreadable({bin, std::min(rest, kBinAlignment)});
            const Breach breach = isUnreadable ? Breach::kMediumFailed : BinBreach(m_hive.Bins(), at);
            if (breach != Breach::kNone) {
                Report(Severity::kError, breach, CellOffset{at});
                at += std::min(rest, kBinAlignment); // the next bin begins at a page at the earliest
                continue;
            }
            ++m_summary.bins;
            const std::uint32_t size = BinSize(m_hive.Bins(), at);
            if (m_hive.IsUnreadable({bin, size})) {
                Report(Severity::kError, Breach::kMediumFailed, CellOffset{at});
            }
            CheckCells(at + kBinHeaderSize, at + size);
            at += size;
        }
    }

    void CheckCells(std::uint32_t at, std::uint32_t end)
    {
        bool wasFree = false;
        while (at < end) {
            const auto stored = LoadLittle<std::int32_t>(m_hive.Bins().data() + at);
            const std::uint32_t size =
                stored < 0 ? 0U - static_cast<std::uint32_t>(stored) : static_cast<std::uint32_t>(stored);
            if (size < kLeastCell || size % kCellAlignment != 0 || size > end - at) {
                Report(Severity::kError, Breach::kCellSize, CellOffset{at});
                return;
            }
            const bool isFree = stored > 0;
            if (isFree) {
                m_summary.freeBytes += size;
                if (wasFree) {
                    Report(Severity::kWarning, Breach::kFreeNeighbours, CellOffset{at});
                }
            } else {
                ++m_summary.cells;
                m_starts.Claim(CellOffset{at});
            }
            wasFree = isFree;
            at += size;
        }
    }

    /// Takes a cell for its one owner. False, and reported, if it is no cell or has an owner already.
    bool Own(CellOffset cell)
    {
        if (!m_starts.IsClaimed(cell)) {
            Report(Severity::kError, Breach::kCellNotStart, cell, Path());
            return false;
        }
        if (!m_claims.Claim(cell)) {
            Report(Severity::kError, Breach::kShared, cell, Path());
            return false;
        }
        return true;
    }

    void CheckTree()
    {
        EnterKey(m_hive.Root(), nullptr);
        while (!m_levels.empty()) {
            Level& level = m_levels.back();
            const std::uint32_t leavesBefore = level.subkeys.LeavesOpened();
            const Checked<CellOffset> next = level.subkeys.Next();
            if (level.subkeys.LeavesOpened() != leavesBefore && level.subkeys.Leaf().count != 0) {
                CheckLeaf(level.subkeys);
            }
            if (!next) {
                ReportFault(next.error());
                continue;
            }
            if (next->IsNil()) {
                LeaveKey();
                continue;
            }
            const CellOffset leaf = level.subkeys.LeafCell();
            if (level.subkeys.LeavesOpened() != leavesBefore && leaf != level.key.subkeyList && !Own(leaf)) {
                level.subkeys.SkipLeaf();
                continue;
            }
            ++level.listed;
            EnterKey(*next, &level);
        }
    }

    void CheckLeaf(const SubkeyCursor& subkeys)
    {
        const std::uint32_t minor = m_hive.Base().minor;
        const ListKind kind = subkeys.Leaf().kind;
        if ((kind == ListKind::kHashes && minor < kFirstHashMinor) ||
            (kind == ListKind::kHints && minor < kFirstHintMinor)) {
            Report(Severity::kError, Breach::kListVersion, subkeys.LeafCell(), Path());
        }
    }

    void EnterKey(CellOffset offset, Level* parent)
    {
        const Checked<KeyNode> key = m_hive.Key(offset);
        if (!key) {
            ReportFault(key.error());
            return;
        }
        if (parent != nullptr) {
            CheckPlaceInList(*key, *parent);
        }
        if (!Own(offset)) {
            return;
        }
        if (m_levels.size() >= kMaxDepth) {
            Report(Severity::kError, Breach::kDepth, offset);
            return;
        }
        ++m_summary.keys;
        const CellOffset listedBy = parent != nullptr ? parent->key.offset : CellOffset{};
        m_levels.push_back({*key, m_hive.Subkeys(*key), {}, 0, 0, 0}); // parent points nowhere from here on
        CheckNode(*key, listedBy);
        CheckClass(*key);
        CheckValues(*key);
        CheckSecurityLink(*key);
        if (key->subkeyCount != 0 && m_hive.Cell(key->subkeyList) && !Own(key->subkeyList)) {
            m_levels.back().subkeys = {};
        }
    }

    void CheckNode(const KeyNode& key, CellOffset parent)
    {
        CheckFlags(key, parent.IsNil());
        const CellView cell = *m_hive.Cell(key.offset);
        if (cell.Get(key_fields::kVolatileCount) != 0 || !cell.Offset(key_fields::kVolatileList).IsNil()) {
            Report(Severity::kWarning, Breach::kKeyVolatile, key.offset, Path());
        }
        for (std::size_t i = 0; i < key.name.size(); ++i) {
            if (key.name[i] == u'\\') {
                Report(Severity::kError, Breach::kKeyNameCharacter, key.offset, Path());
                break;
            }
        }
        if (!parent.IsNil() && key.parent != parent) {
            Report(Severity::kError, Breach::kKeyParent, key.offset, Path());
        }
    }

    void CheckFlags(const KeyNode& key, bool isRoot)
    {
        const std::string flags = fmt::format("{:#06x}, ", key.flags);
        if (isRoot ? (key.flags & key_flags::kOfRoot) != key_flags::kOfRoot : key.Is(key_flags::kHiveEntry)) {
            Report(Severity::kError, Breach::kKeyFlags, key.offset, flags + Path());
        }
        if (key.Is(kFlagsNotOnDisk)) {
            Report(Severity::kWarning, Breach::kKeyFlags, key.offset, flags + Path());
        }
    }

    /// Order and hash of a subkey in the list of its parent, and the maxima that the parent has to keep.
    void CheckPlaceInList(const KeyNode& key, Level& parent)
    {
        const SubkeyList& leaf = parent.subkeys.Leaf();
        const std::uint32_t place = parent.subkeys.PlaceInLeaf();
        if (parent.previousName.size() != 0 && CompareNames(parent.previousName, key.name) >= 0) {
            Report(Severity::kError, Breach::kListOrder, key.offset, Path() + "\\" + key.name.ToUtf8());
        }
        parent.previousName = key.name;
        const bool isHashWrong = leaf.kind == ListKind::kHashes && leaf.Tag(place) != NameHash(key.name);
        const bool isHintWrong = leaf.kind == ListKind::kHints && leaf.Tag(place) != NameHint(key.name);
        if (isHashWrong || isHintWrong) {
            Report(Severity::kError, Breach::kListHash, parent.subkeys.LeafCell(), Path() + "\\" + key.name.ToUtf8());
        }
        parent.longestName = std::max(parent.longestName, static_cast<std::uint32_t>(2 * key.name.size()));
        parent.longestClass = std::max<std::uint32_t>(parent.longestClass, key.classLength);
    }

    void CheckClass(const KeyNode& key)
    {
        const bool hasCell = !key.classCell.IsNil() && key.classCell.value != 0; // some writers leave 0 for none
        if (hasCell != (key.classLength != 0)) {
            const bool isMissing = !hasCell;
            Report(isMissing ? Severity::kError : Severity::kWarning,
                   isMissing ? Breach::kClassMissing : Breach::kClassLeftOver, key.offset, Path());
        }
        const Checked<NameView> name = m_hive.ClassName(key);
        if (!name) {
            ReportFault(name.error());
        } else if (name->data != nullptr) {
            Own(key.classCell);
        }
    }

    void CheckValues(const KeyNode& key)
    {
        const Checked<ValueListView> values = m_hive.Values(key);
        if (!values) {
            ReportFault(values.error());
            return;
        }
        if (values->count == 0 || !Own(values->cell)) {
            return;
        }
        std::uint32_t longestName = 0;
        std::uint32_t longestData = 0;
        for (std::uint32_t i = 0; i < values->count; ++i) {
            const Checked<ValueRecord> value = m_hive.Value((*values)[i]);
            if (!value) {
                ReportFault(value.error());
                continue;
            }
            if (Own(value->offset)) {
                ++m_summary.values;
                m_summary.dataBytes += value->size;
                longestName = std::max(longestName, static_cast<std::uint32_t>(2 * value->name.size()));
                longestData = std::max(longestData, value->size);
                CheckRecord(*value);
                CheckData(*value);
            }
        }
        if (longestName > key.maxValueNameLength || longestData > key.maxValueDataLength) {
            Report(Severity::kWarning, Breach::kKeyMaxima, key.offset, Path());
        }
    }

    void CheckRecord(const ValueRecord& value)
    {
        if ((value.flags & ~(kLatin1ValueName | kTombstone)) != 0) {
            Report(Severity::kWarning, Breach::kValueFlags, value.offset,
                   fmt::format("{:#06x}, {}", value.flags, Path()));
        }
        const CellView cell = *m_hive.Cell(value.offset);
        if ((cell.Get(value_fields::kDataLength) & kInlineFlag) != 0) {
            const auto padding = cell.Bytes().subspan(value_fields::kData.at + value.size, kMaxInline - value.size);
            if (std::ranges::any_of(padding, [](std::byte byte) { return byte != std::byte{0}; })) {
                Report(Severity::kWarning, Breach::kValuePadding, value.offset, Path());
            }
        } else if (value.size == 0 && !cell.Offset(value_fields::kData).IsNil() && cell.Get(value_fields::kData) != 0) {
            Report(Severity::kError, Breach::kValueEmpty, value.offset, Path());
        }
    }

    /// Whether data that does not fit its cell would as the big data of a later version.
    [[nodiscard]] bool IsBigDataTooEarly(const ValueRecord& value) const
    {
        const Checked<CellView> cell = m_hive.Cell(value.dataCell);
        return cell && m_hive.Base().minor < kBigDataMinor && cell->size >= kBigDataHead &&
               cell->Get(big_data_fields::kSignature) == signatures::kBigData;
    }

    void CheckData(const ValueRecord& value)
    {
        Checked<DataView> data = m_hive.Data(value);
        if (!data) {
            const bool isTooEarly = data.error().breach == Breach::kValueDataSize && IsBigDataTooEarly(value);
            ReportFault(isTooEarly ? HiveFault{Breach::kDataVersion, value.dataCell} : data.error());
            return;
        }
        if (!data->IsSegmented() && value.size > kBigDataSegment && m_hive.Base().minor >= kBigDataMinor) {
            Report(Severity::kError, Breach::kDataVersion, value.dataCell, Path());
        }
        if (value.isInline || !Own(value.dataCell) || !data->IsSegmented() || !Own(data->listCell)) {
            return;
        }
        while (data->nextSegment < data->segmentCount) {
            const CellOffset segment = data->Segment(data->nextSegment);
            const auto piece = m_hive.NextPiece(*data);
            if (!piece) {
                ReportFault(piece.error());
                return;
            }
            Own(segment);
        }
    }

    void CheckSecurityLink(const KeyNode& key)
    {
        if (key.security.IsNil()) {
            Report(Severity::kError, Breach::kSecurityMissing, key.offset, Path());
            return;
        }
        const auto descriptor = m_hive.SecurityDescriptor(key);
        if (!descriptor) {
            ReportFault(descriptor.error());
            return;
        }
        if (++m_security[key.security.value] == 1 && Own(key.security)) {
            CheckDescriptorOf(key.security, *descriptor);
        }
    }

    void CheckDescriptorOf(CellOffset record, std::span<const std::byte> descriptor)
    {
        if (const Result<void> checked = CheckDescriptor(descriptor); !checked) {
            Report(Severity::kError, Breach::kSecurityDescriptor, record, checked.error().context);
        }
    }

    void LeaveKey()
    {
        const Level& level = m_levels.back();
        if (level.listed != level.key.subkeyCount) {
            Report(Severity::kError, Breach::kListTotal, level.key.offset,
                   fmt::format("{} of {}, {}", level.listed, level.key.subkeyCount, Path()));
        }
        if (level.longestName > level.key.maxNameLength || level.longestClass > level.key.maxClassLength) {
            Report(Severity::kWarning, Breach::kKeyMaxima, level.key.offset, Path());
        }
        m_levels.pop_back();
    }

    /// Follows the ring from the root's record, then looks for records that keys use and the ring lacks.
    void CheckSecurity()
    {
        const Checked<KeyNode> root = m_hive.Key(m_hive.Root());
        if (!root || root->security.IsNil()) {
            return;
        }
        CellClaims ring(m_hive.Length());
        CellOffset at = root->security;
        CellOffset previous;
        while (true) {
            const Checked<CellView> cell = m_hive.Cell(at);
            if (!cell || cell->size < kSecurityFixedSize ||
                cell->Get(security_fields::kSignature) != signatures::kSecurity) {
                Report(Severity::kError, Breach::kSecurityRing, at);
                break;
            }
            if (!ring.Claim(at)) {
                if (at != root->security || cell->Offset(security_fields::kPrevious) != previous) {
                    Report(Severity::kError, Breach::kSecurityRing, at);
                }
                break;
            }
            ++m_summary.securityRecords;
            if (!previous.IsNil() && cell->Offset(security_fields::kPrevious) != previous) {
                Report(Severity::kError, Breach::kSecurityRing, at);
            }
            const auto use = m_security.find(at.value);
            const std::uint32_t references = use != m_security.end() ? use->second : 0;
            if (references == 0) {
                m_claims.Claim(at); // unused, and said so by its count
            }
            if (cell->Get(security_fields::kReferences) != references) {
                Report(
                    Severity::kWarning, Breach::kSecurityCount, at,
                    fmt::format("{} where {} keys refer to it", cell->Get(security_fields::kReferences), references));
            }
            previous = at;
            at = cell->Offset(security_fields::kNext);
        }
        for (const auto& [offset, references] : m_security) {
            if (!ring.IsClaimed(CellOffset{offset})) {
                Report(Severity::kError, Breach::kSecurityRing, CellOffset{offset}, "the record is not in it");
            }
        }
    }

    void CheckUnreferenced()
    {
        for (std::uint32_t at = 0; at < m_hive.Length(); at += kCellAlignment) {
            const CellOffset cell{at};
            if (m_starts.IsClaimed(cell) && !m_claims.IsClaimed(cell)) {
                Report(Severity::kWarning, Breach::kUnreferenced, cell);
            }
        }
    }

    const Hive& m_hive;
    const std::function<void(const Finding&)>& m_sink;
    CellClaims m_starts; ///< where allocated cells begin
    CellClaims m_claims; ///< which of them have an owner
    std::vector<Level> m_levels;
    std::map<std::uint32_t, std::uint32_t> m_security; ///< how many keys refer to the record, by its cell's offset
    ValidationSummary m_summary;
};

} // namespace

ValidationSummary ValidateHive(const Hive& hive, const std::function<void(const Finding&)>& sink)
{
    return Validator(hive, sink).Run();
}

} // namespace tolvar
