#include "platform/hive/hive_mark.h"

#include <algorithm>

#include "platform/hive/hive_walk.h"

namespace tolvar {

namespace {

constexpr std::size_t kMostKeys = 64;
constexpr unsigned kLevels = 3;

bool IsOlder(const HiveMark::DatedKey& a, const HiveMark::DatedKey& b)
{
    return a.lastWrite < b.lastWrite;
}

/// Gathers the oldest keys of the first levels.
class MarkVisitor {
public:
    bool OnKey(const KeyNode& key, unsigned depth)
    {
        m_path.resize(depth);
        if (depth != 0) {
            m_path.back() = key.name.ToUtf16();
        }
        if (m_oldest.size() < kMostKeys) {
            m_oldest.push_back({key.lastWrite, m_path});
            std::ranges::push_heap(m_oldest, IsOlder);
        } else if (key.lastWrite < m_oldest.front().lastWrite) {
            std::ranges::pop_heap(m_oldest, IsOlder);
            m_oldest.back() = {key.lastWrite, m_path};
            std::ranges::push_heap(m_oldest, IsOlder);
        }
        return depth + 1 < kLevels;
    }
    void OnValue(const ValueRecord& /*value*/, const DataView& /*data*/) {}
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& /*fault*/, unsigned /*depth*/) {}
    [[nodiscard]] static bool IsStopped() { return false; }

    [[nodiscard]] std::vector<HiveMark::DatedKey> Take()
    {
        std::ranges::sort_heap(m_oldest, IsOlder);
        return std::move(m_oldest);
    }

private:
    std::vector<std::u16string> m_path;
    std::vector<HiveMark::DatedKey> m_oldest; ///< a heap, the youngest in front
};

std::array<std::byte, base_fields::kManagerSize> ManagerOf(const Hive& hive) noexcept
{
    std::array<std::byte, base_fields::kManagerSize> manager{};
    const std::span<const std::byte> file = hive.FileBytes();
    if (hive.Base().minor >= kFirstHintMinor &&
        Load(file, base_fields::kManagerSignature) == base_fields::kManagerMagic) {
        std::ranges::copy(file.subspan(base_fields::kManager, manager.size()), manager.begin());
    }
    return manager;
}

/// The last write time of the key at a path; nothing where there is none that can be read.
std::optional<std::uint64_t> TimeAt(const Hive& hive, const std::vector<std::u16string>& path)
{
    Checked<KeyNode> key = hive.Key(hive.Root());
    for (const std::u16string& name : path) {
        const Checked<CellOffset> next = key ? hive.FindSubkey(*key, name) : Checked<CellOffset>(CellOffset());
        if (!next || next->IsNil()) {
            return std::nullopt;
        }
        key = hive.Key(*next);
    }
    return key ? std::optional(key->lastWrite) : std::nullopt;
}

} // namespace

HiveMark MarkOf(const Hive& hive)
{
    MarkVisitor visitor;
    HiveWalk<MarkVisitor>(hive, visitor).Run(hive.Root());
    return {ManagerOf(hive), visitor.Take()};
}

bool IsManaged(const HiveMark& mark) noexcept
{
    return mark.manager != decltype(mark.manager){};
}

bool IsManaged(const Hive& hive) noexcept
{
    return ManagerOf(hive) != decltype(HiveMark::manager){};
}

std::size_t CountKept(const Hive& hive, const HiveMark& mark)
{
    return static_cast<std::size_t>(std::ranges::count_if(
        mark.oldest, [&hive](const HiveMark::DatedKey& key) { return TimeAt(hive, key.path) == key.lastWrite; }));
}

bool IsMarked(const Hive& hive, const HiveMark& mark)
{
    if (IsManaged(hive) && IsManaged(mark)) {
        return ManagerOf(hive) == mark.manager;
    }
    return 2 * CountKept(hive, mark) >= mark.oldest.size();
}

} // namespace tolvar
