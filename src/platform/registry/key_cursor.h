#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/hive/hive_walk.h"
#include "platform/registry/value_cursor.h"
#include "platform/registry/walk_permit.h"

namespace tolvar {

/// Where a walk stands: a zero-copy view of one key, with no handle and no allocation. Good during the call.
class KeyCursor {
public:
    KeyCursor(const KeyRef& key, const KeyNode& node, const NameView& name, unsigned depth) noexcept
        : m_key(&key), m_node(&node), m_name(&name), m_depth(depth)
    {}

    [[nodiscard]] const KeyRef& Key() const noexcept { return *m_key; }

    /// Levels below the key where the walk began, which has 0.
    [[nodiscard]] unsigned Depth() const noexcept { return m_depth; }

    /// As the session calls it: the root of a mounted hive has another name in its file.
    [[nodiscard]] const NameView& Name() const noexcept { return *m_name; }

    [[nodiscard]] std::uint64_t LastWrite() const noexcept { return m_node->lastWrite; } ///< 100 ns since 1601
    [[nodiscard]] bool IsStoredLink() const noexcept { return m_node->Is(key_flags::kSymbolicLink); }

    /// Empty where it has none.
    [[nodiscard]] tl::expected<NameView, KeyFault> ClassName() const
    {
        const Hive& hive = m_key->First().Reader();
        const Checked<NameView> name = hive.ClassName(*m_node);
        return name ? tl::expected<NameView, KeyFault>(*name) : tl::unexpected(KeyFault(hive, name.error()));
    }

    /// No more subkeys than this can a sound key have.
    [[nodiscard]] std::uint32_t MostSubkeys() const noexcept
    {
        std::uint32_t most = 0;
        for (const KeyPart& part : m_key->Parts()) {
            most += part.Reader().MaxKeys();
        }
        return most;
    }

private:
    const KeyRef* m_key;
    const KeyNode* m_node;
    const NameView* m_name;
    unsigned m_depth;
};

/// Walks keys of the session from one on, depth first: mounts with those around them, links of the session entered once
/// (no link within what a link leads to), stored links as the keys that they are. A key's subkeys come in the order of
/// SubkeyRun. Tells a visitor:
///
///     void OnKey(const KeyCursor& key);
///     void OnValue(const ValueCursor& value); // of the key told last
///     void OnValuesEnd();
///     void OnFault(const KeyFault& fault);    // what can't be read; the walk goes on beside it
///     bool IsStopped() const;                 // asked before each key
///
/// Every so many keys it lets a waiting writer in, and goes on behind the key that it told last, by the order of names:
/// what was told is not told again, and what the writer made further on is told. Where the writer took away the key
/// that the walk began at, it ends.
template <class Visitor>
class KeyWalk {
public:
    KeyWalk(WalkPermit& permit, Visitor& visitor) : m_permit(permit), m_visitor(visitor) {}

    void Run(const KeyRef& key)
    {
        const std::string path = m_permit.Names().PathOf(key);
        Result<KeyRef> top = key;
        do {
            m_isStale = false;
            m_claims.clear();
            m_levels.clear();
            m_matched = 0;
            const Checked<KeyNode> node = top->First().Node();
            Enter(*top, TopName(*top, node), 0, Links::kEnter);
            top = m_isStale ? m_permit.Find(path) : std::move(top);
        } while (m_isStale && top);
    }

private:
    enum class Links {
        kEnter,
        kShow, ///< as empty keys
    };
    static constexpr unsigned kKeysAtOnce = 1024; // between two looks for a writer

    /// A key of the name space below the one that is walked.
    struct Place {
        NameView name;
        CellOffset cell;
    };

    /// Passes on what a walk through one hive tells, with the session's names and depths.
    struct HiveSide {
        KeyWalk& walk;
        const KeyRef& top;
        NameView name; ///< of `top`
        unsigned depth;
        Links links;
        std::vector<Place> places;
        std::size_t nextPlace = 0;
        bool isBehind = false; ///< `top` was told with all below it

        bool OnKey(const KeyNode& node, unsigned below)
        {
            if (below == 1 && !EnterPlacesUpTo(&node.name)) {
                return false;
            }
            const KeyRef key = below == 0 ? top : KeyRef{{KeyPart{top.First().mount, node.offset}, {}}, {}, {}};
            const bool isTold = walk.Tell(key, node, below == 0 ? name : node.name, depth + below);
            isBehind = below == 0 ? !isTold : isBehind;
            return isTold;
        }
        void OnValue(const ValueRecord& value, const DataView& data)
        {
            if (!walk.m_isQuiet) {
                walk.m_visitor.OnValue(ValueCursor(top.First().Reader(), value, data));
            }
        }
        void OnValuesEnd(const KeyNode& /*node*/) { walk.EndValues(); }
        void OnFault(const HiveFault& fault, unsigned /*below*/) { walk.TellFault(top.First().Reader(), fault); }
        [[nodiscard]] bool IsStopped() const { return walk.ShouldStop(); }

        /// Walks the keys of the name space that come before or at a name, or all that are left. False where the last
        /// one hides the stored key of that name, or the walk has to stop.
        bool EnterPlacesUpTo(const NameView* end)
        {
            bool isHidden = false;
            while (nextPlace < places.size() && !isHidden && !walk.m_isStale) {
                const int order = end != nullptr ? CompareNames(places[nextPlace].name, *end) : -1;
                if (order > 0) {
                    break;
                }
                isHidden = order == 0;
                walk.EnterPlace(places[nextPlace++], top, depth + 1, links);
            }
            return !isHidden && !walk.m_isStale;
        }
    };

    NameView TopName(const KeyRef& key, const Checked<KeyNode>& node) const
    {
        const Checked<NameView> own =
            key.IsOfSession() ? m_permit.Names().Places().KeyName(key.place) : Checked<NameView>();
        return key.IsOfSession() && own ? *own : node ? node->name : NameView();
    }

    void Enter(const KeyRef& key, const NameView& name, unsigned depth, Links links)
    {
        if (key.IsMerged()) {
            EnterMerged(key, name, depth, links);
            return;
        }
        HiveSide side{*this, key, name, depth, links, PlacesIn(key)};
        if (key.First().mount->IsVolatile()) {
            const Checked<KeyNode> node = key.First().Node();
            if (!node || !Tell(key, *node, name, depth)) {
                return;
            }
            EndValues();
        } else {
            HiveWalk(key.First().Reader(), side).Run(key.First().cell);
        }
        if (!side.isBehind) {
            static_cast<void>(side.EnterPlacesUpTo(nullptr));
        }
    }

    [[nodiscard]] std::vector<Place> PlacesIn(const KeyRef& key) const
    {
        const Hive& hive = m_permit.Names().Places();
        std::vector<Place> places;
        const Checked<KeyNode> node = key.IsOfSession() ? hive.Key(key.place) : Fault(Breach::kNone, {});
        SubkeyCursor cursor = node ? hive.Subkeys(*node) : SubkeyCursor();
        for (auto cell = cursor.Next(); node && cell && !cell->IsNil(); cell = cursor.Next()) {
            if (const Checked<NameView> name = hive.KeyName(*cell); name) {
                places.push_back({*name, *cell});
            }
        }
        return places;
    }

    void EnterPlace(const Place& place, const KeyRef& under, unsigned depth, Links links)
    {
        if (ShouldStop()) {
            return;
        }
        const NameSpace& names = m_permit.Names();
        const bool isLink = names.IsLink(place.cell);
        Enter(isLink && links == Links::kShow ? names.Own(place.cell) : names.At(place.cell, under), place.name, depth,
              isLink ? Links::kShow : links);
    }

    /// A merged key, and the keys below it, merged or not.
    void EnterMerged(const KeyRef& key, const NameView& name, unsigned depth, Links links)
    {
        const Hive& hive = key.First().Reader();
        const Checked<KeyNode> node = key.First().Node();
        bool isOwn = depth < kMaxDepth;
        for (const KeyPart& part : key.Parts()) {
            const auto claims = m_claims.try_emplace(part.mount, part.Reader().Length()).first;
            isOwn = isOwn && part.Node() && claims->second.Claim(part.cell);
        }
        if (!node || !isOwn) {
            TellFault(hive, node ? HiveFault{Breach::kShared, key.First().cell} : node.error());
            return;
        }
        if (!Tell(key, *node, name, depth)) {
            return;
        }
        TellValues(key);
        EndValues();
        SubkeyRun run(m_permit.Names(), key);
        while (const SeenSubkey* subkey = ShouldStop() ? nullptr : run.Next()) {
            if (!subkey->isReadable) {
                TellFault(subkey->key.First().Reader(), subkey->fault);
            } else if (subkey->key.IsOfSession()) {
                EnterPlace({subkey->name, subkey->key.place}, key, depth + 1, links);
            } else {
                EnterMerged(KeyRef(subkey->key), NameView(subkey->name), depth + 1, links);
            }
        }
    }

    /// The values of a merged key. As in a walk through one hive, no more bytes are handed out than there are.
    void TellValues(const KeyRef& key)
    {
        const Checked<ValueRun> values = ValueRun::Of(key);
        if (!values) {
            TellFault(key.First().Reader(), values.error());
        }
        std::uint64_t& left = m_bytesLeft.try_emplace(key.First().mount, key.First().Reader().Length()).first->second;
        for (std::uint32_t i = 0; values && i < values->Count() && !m_isQuiet; ++i) {
            const Checked<SeenValue> value = values->At(i);
            const Checked<DataView> data = value ? value->hive->Data(value->record) : tl::unexpected(value.error());
            const std::uint64_t bytes =
                value ? sizeof(std::uint32_t) + value->record.name.bytes + value->record.size : 0;
            if (!data || bytes > left) {
                TellFault(value ? *value->hive : key.First().Reader(),
                          data ? HiveFault{Breach::kShared, value->record.offset} : data.error());
                if (data) {
                    return;
                }
                continue;
            }
            left -= bytes;
            m_visitor.OnValue(ValueCursor(*value->hive, value->record, *data));
        }
    }

    /// Tells a key, unless it was told before a writer came. False where all below it was told too.
    [[nodiscard]] bool Tell(const KeyRef& key, const KeyNode& node, const NameView& name, unsigned depth)
    {
        const Meeting meeting = Meet(name, depth);
        if (meeting == Meeting::kBehind) {
            return false;
        }
        m_levels.resize(depth);
        m_levels.push_back(name);
        m_isQuiet = meeting == Meeting::kOnTheWay;
        if (!m_isQuiet) {
            m_visitor.OnKey(KeyCursor(key, node, name, depth));
        }
        return true;
    }
    void EndValues()
    {
        if (!m_isQuiet) {
            m_visitor.OnValuesEnd();
        }
        m_isQuiet = false;
    }
    void TellFault(const Hive& hive, const HiveFault& fault)
    {
        if (!m_isQuiet && m_told.empty()) {
            m_visitor.OnFault(KeyFault(hive, fault));
        }
    }

    [[nodiscard]] bool ShouldStop()
    {
        if (++m_keys % kKeysAtOnce == 0 && m_permit.IsWanted() && m_told.empty()) {
            std::vector<std::u16string> told;
            for (const NameView& name : m_levels) {
                told.push_back(name.ToUtf16());
            }
            m_isStale = m_permit.LetWriterIn();
            m_told = m_isStale ? std::move(told) : std::vector<std::u16string>();
        }
        return m_isStale || m_visitor.IsStopped();
    }

    /// How a key stands to those that were told before a writer came.
    enum class Meeting {
        kNew,
        kOnTheWay, ///< it was told, but not all below it
        kBehind,   ///< it was told with all below it
    };

    [[nodiscard]] Meeting Meet(const NameView& name, unsigned depth)
    {
        if (m_told.empty()) {
            return Meeting::kNew;
        }
        const int order = depth == m_matched && depth < m_told.size() ? CompareNames(name, m_told[depth]) : 1;
        if (depth != 0 && order < 0) {
            return Meeting::kBehind;
        }
        if (depth != 0 && order > 0) { // past the place where it was
            m_told.clear();
            return Meeting::kNew;
        }
        if (++m_matched == m_told.size()) {
            m_told.clear(); // this is the one
        }
        return Meeting::kOnTheWay;
    }

    WalkPermit& m_permit;
    Visitor& m_visitor;
    std::vector<NameView> m_levels;     ///< names of the key told last and those above it, from the top on
    std::vector<std::u16string> m_told; ///< while the walk finds its place again: the names that m_levels had
    std::size_t m_matched = 0;          ///< so many of `m_told` were met
    std::map<const Mount*, CellClaims> m_claims;
    std::map<const Mount*, std::uint64_t> m_bytesLeft;
    unsigned m_keys = 0;
    bool m_isStale = false;
    bool m_isQuiet = false; ///< the values of the key are not told again
};

} // namespace tolvar
