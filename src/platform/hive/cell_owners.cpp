#include "platform/hive/cell_owners.h"

#include <algorithm>

#include "platform/hive/bin_header.h"
#include "platform/hive/hive_walk.h"

namespace tolvar {

/// A visitor that hears of every reference in a hive.
class OwnerSurvey {
public:
    explicit OwnerSurvey(const Hive& hive) : m_hive(hive), m_starts(hive.Length()), m_claimed(hive.Length()) {}

    bool OnKey(const KeyNode& key, unsigned depth)
    {
        NotePath(key, depth);
        if (++m_security[key.security.value] == 1 && !m_hive.SecurityDescriptor(key)) {
            NoteStray(key.security);
        }
        if (key.classLength != 0 && !m_hive.ClassName(key)) {
            NoteStray(key.classCell);
        }
        return true;
    }
    void OnValue(const ValueRecord& /*value*/, DataView /*data*/) {}
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& fault, unsigned /*depth*/)
    {
        m_isWhole = false;
        if (fault.breach != Breach::kShared) { // of which OnReference was told
            NoteStray(fault.at);
        }
    }
    void OnReference(CellOffset cell, bool isFirst)
    {
        if (!isFirst) {
            ++m_owners.m_shared[cell.value].further;
            return;
        }
        m_claimed.Claim(cell);
        if (!m_starts.IsClaimed(cell)) {
            m_strays.push_back({cell.value, true});
        }
    }
    [[nodiscard]] bool IsStopped() const { return false; }

    CellOwners Run()
    {
        ForEachCell([this](std::uint32_t at, std::uint32_t /*size*/, bool isFree) {
            if (!isFree) {
                m_starts.Claim(CellOffset{at});
            }
        });
        HiveWalk(m_hive, *this).Run(m_hive.Root());
        PlaceStrays();
        CompareCounts();
        return std::move(m_owners);
    }

private:
    /// A key on the way down, and whether it and those above it are records of their own.
    struct Level {
        CellOffset key;
        bool isSound;
    };

    /// A key that names another parent than the one that lists it does not lead a writer to what is wrong above it:
    /// then it counts as shared itself.
    void NotePath(const KeyNode& key, unsigned depth)
    {
        m_path.resize(depth, {});
        const bool isBelowSound = m_path.empty() || m_path.back().isSound;
        if (!m_path.empty() && key.parent != m_path.back().key) {
            m_owners.m_misplaced.insert(key.offset.value);
            if (!isBelowSound) {
                ++m_owners.m_shared[key.offset.value].further;
            }
        }
        const bool hasList = key.subkeyCount != 0 && m_hive.Cell(key.subkeyList);
        m_path.push_back({key.offset, isBelowSound && m_starts.IsClaimed(key.offset) &&
                                          (!hasList || m_starts.IsClaimed(key.subkeyList))});
    }

    /// A reference that leads to no record, or not to the start of a cell.
    struct Stray {
        std::uint32_t at;
        bool isUsed; ///< there is a record, if not in a cell of its own

        bool operator<(const Stray& other) const { return at < other.at; }
    };

    void NoteStray(CellOffset at)
    {
        if (at.value % kCellAlignment == 0 && at.value < kMaxLength) { // nothing else can ever be a cell
            m_strays.push_back({at.value, false});
        }
    }

    /// Hands every cell of the bins, up to the first wrong size in each, to `visit`.
    template <class Visit>
    void ForEachCell(Visit&& visit) const
    {
        std::uint32_t at = 0;
        while (at < m_hive.Length()) {
            if (BinBreach(m_hive.Bins(), at) != Breach::kNone) {
                at += std::min(m_hive.Length() - at, kBinAlignment);
                continue;
            }
            const std::uint32_t end = at + BinSize(m_hive.Bins(), at);
            for (std::uint32_t cell = at + kBinHeaderSize; cell < end;) {
                const CellExtent extent = ExtentAt(m_hive.Bins(), cell, end);
                if (extent.size == 0) {
                    break;
                }
                visit(cell, extent.size, extent.isFree);
                cell += extent.size;
            }
            at = end;
        }
    }

    /// Finds out in which cells the strays lie.
    void PlaceStrays()
    {
        if (m_strays.empty()) {
            return;
        }
        std::ranges::sort(m_strays, {}, &Stray::at);
        auto next = m_strays.begin();
        ForEachCell([&](std::uint32_t at, std::uint32_t size, bool isFree) {
            for (; next != m_strays.end() && next->at < at; ++next) {
                PlaceOutside(*next);
            }
            for (; next != m_strays.end() && next->at < at + size; ++next) {
                PlaceWithin(*next, at, isFree);
            }
        });
        for (; next != m_strays.end(); ++next) {
            PlaceOutside(*next);
        }
    }

    void PlaceOutside(const Stray& stray)
    {
        if (stray.isUsed) {
            m_owners.m_shared[stray.at].isNoCell = true;
        } else if (stray.at >= m_hive.Length()) {
            m_owners.m_awaited.push_back(stray.at);
        }
    }

    void PlaceWithin(const Stray& stray, std::uint32_t cell, bool isFree)
    {
        if (stray.isUsed) {
            CellOwners::Sharing& sharing = m_owners.m_shared[stray.at];
            sharing.isNoCell = true;
            sharing.within = isFree ? CellOffset{} : CellOffset{cell};
        }
        if (isFree) {
            m_owners.m_awaited.push_back(stray.at);
        } else {
            ++m_owners.m_shared[cell].further;
        }
    }

    void CompareCounts()
    {
        for (const auto& [offset, keys] : m_security) {
            const CellOffset record{offset};
            const Checked<CellView> cell = m_hive.Cell(record);
            if (!cell || cell->size < kSecurityFixedSize) {
                continue;
            }
            if (m_claimed.IsClaimed(record)) { // it is some key's data, too
                ++m_owners.m_shared[offset].further;
            }
            // Keys that the walk did not come to count as well: a number that may be theirs stands.
            const std::uint32_t stored = cell->Get(security_fields::kReferences);
            const std::uint32_t real = m_isWhole ? keys : std::max(keys, stored);
            if (stored != real) {
                m_owners.m_counts[offset] = real;
            }
        }
    }

    const Hive& m_hive;
    CellOwners m_owners;
    CellClaims m_starts;  ///< where allocated cells begin
    CellClaims m_claimed; ///< what the walk met
    bool m_isWhole = true;
    std::vector<Stray> m_strays;
    std::vector<Level> m_path;
    std::unordered_map<std::uint32_t, std::uint32_t> m_security; ///< keys by their record
};

CellOwners CellOwners::Survey(const Hive& hive)
{
    return OwnerSurvey(hive).Run();
}

CellOffset CellOwners::Release(CellOffset cell)
{
    m_misplaced.erase(cell.value);
    const auto found = m_shared.find(cell.value);
    if (found == m_shared.end()) {
        return cell;
    }
    Sharing& sharing = found->second;
    if (sharing.further != 0) {
        --sharing.further;
        if (sharing.further == 0 && !sharing.isNoCell) {
            m_shared.erase(found);
        }
        return {};
    }
    const CellOffset within = sharing.within;
    m_shared.erase(found);
    return within.IsNil() ? within : Release(within); // which is a start, and so lies in no other
}

bool CellOwners::IsAwaited(std::uint32_t begin, std::uint32_t end) const
{
    const auto first = std::ranges::lower_bound(m_awaited, begin);
    return first != m_awaited.end() && *first < end;
}

std::optional<std::uint32_t> CellOwners::TrueCount(CellOffset security) const
{
    const auto found = m_counts.find(security.value);
    return found != m_counts.end() ? std::optional(found->second) : std::nullopt;
}

void CellOwners::NoteCount(CellOffset security, std::uint32_t keys)
{
    if (const auto found = m_counts.find(security.value); found != m_counts.end()) {
        found->second = keys;
    }
}

} // namespace tolvar
