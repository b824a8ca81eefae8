#include "platform/registry/key_view.h"

#include <algorithm>

namespace tolvar {

SubkeyRun::SubkeyRun(const NameSpace& space, const KeyRef& parent) : m_space(&space), m_parent(parent)
{
    Start();
}

void SubkeyRun::Start()
{
    m_sources = {};
    m_index = 0;
    m_hasPlaces = false;
    m_only.reset();
    std::size_t used = 0;
    const auto open = [&](std::size_t index, Mount* mount, const Hive& hive, const Checked<KeyNode>& node) {
        Source& source = m_sources[index];
        source.mount = mount;
        if (node) {
            source.cursor = hive.Subkeys(*node);
            m_only = used++ == 0 ? std::optional(index) : std::nullopt;
        }
    };
    for (std::size_t i = 0; i < m_parent.Parts().size(); ++i) {
        const KeyPart& part = m_parent.parts[i];
        if (&part.Reader() != &m_space->Places()) {
            open(i, part.mount, part.Reader(), part.Node());
        }
    }
    if (m_parent.IsOfSession()) {
        const Checked<KeyNode> node = m_space->Places().Key(m_parent.place);
        m_hasPlaces = node && (node->subkeyCount != 0 || used == 0);
        if (m_hasPlaces) {
            m_places = *node;
            open(kPlaces, nullptr, m_space->Places(), node);
        }
    }
}

bool SubkeyRun::IsHidden(const NameView& name) const
{
    const Checked<CellOffset> place =
        m_hasPlaces ? m_space->Places().FindSubkey(m_places, name.ToUtf16()) : Checked<CellOffset>();
    return place && !place->IsNil();
}

/// Makes sure that the source's next subkey is there. False at its end.
bool SubkeyRun::Load(Source& source)
{
    const bool isPlace = source.mount == nullptr;
    const Hive& hive = isPlace ? m_space->Places() : source.mount->Reader();
    while (!source.isLoaded && !source.isAtEnd) {
        const Checked<CellOffset> cell = source.cursor.Next();
        if (!cell) {
            continue;
        }
        if (cell->IsNil()) {
            source.isAtEnd = true;
            break;
        }
        const Checked<KeyNode> node = hive.Key(*cell);
        if (node && !isPlace && IsHidden(node->name)) {
            continue;
        }
        SeenSubkey& next = source.next;
        next = {};
        next.isReadable = node.has_value();
        if (node) {
            next.name = node->name;
            next.node = *node;
        } else {
            next.fault = node.error();
        }
        next.key.parts[0] = {source.mount, *cell};
        next.key.place = isPlace ? *cell : CellOffset{};
        source.isLoaded = true;
    }
    return source.isLoaded;
}

const SeenSubkey* SubkeyRun::Next()
{
    Source* first = nullptr;
    if (m_only) {
        first = Load(m_sources[*m_only]) ? &m_sources[*m_only] : nullptr;
    } else {
        for (Source& source : m_sources) {
            if (Load(source) && (first == nullptr || !source.next.isReadable ||
                                 (first->next.isReadable && CompareNames(source.next.name, first->next.name) < 0))) {
                first = &source;
            }
        }
    }
    if (first == nullptr) {
        return nullptr;
    }
    m_seen = first->next;
    first->isLoaded = false;
    Source& second = m_sources[1];
    if (first == &m_sources[0] && m_seen.isReadable && second.isLoaded && second.next.isReadable &&
        CompareNames(second.next.name, m_seen.name) == 0) {
        m_seen.key.parts[1] = second.next.key.parts[0];
        m_seen.key.view = m_parent.view;
        second.isLoaded = false;
    }
    ++m_index;
    return &m_seen;
}

void SubkeyRun::Seek(std::uint32_t index)
{
    if (index < m_index) {
        Start();
    }
    if (m_only) {
        Source& only = m_sources[*m_only];
        only.isLoaded = false;
        only.cursor.Seek(index);
        m_index = only.cursor.Index();
        return;
    }
    while (m_index < index && Next() != nullptr) {
    }
}

Checked<ValueRun> ValueRun::Of(const KeyRef& key)
{
    ValueRun run;
    const Checked<KeyNode> node = key.First().Node();
    const Checked<ValueListView> list = node ? key.First().Reader().Values(*node) : tl::unexpected(node.error());
    if (!list) {
        return tl::unexpected(list.error());
    }
    run.m_first = *list;
    run.m_firstHive = &key.First().Reader();
    if (!key.IsMerged()) {
        return run;
    }
    run.m_secondHive = &key.parts[1].Reader();
    const Checked<KeyNode> secondNode = key.parts[1].Node();
    const Checked<ValueListView> second =
        secondNode ? run.m_secondHive->Values(*secondNode) : tl::unexpected(secondNode.error());
    for (std::uint32_t i = 0; second && i < second->count; ++i) {
        const Checked<ValueRecord> value = run.m_secondHive->Value((*second)[i]);
        const auto hidden =
            value ? run.m_firstHive->FindValue(*node, value->name.ToUtf16()) : Checked<std::optional<ValueRecord>>();
        if (!hidden || !*hidden) {
            run.m_more.push_back((*second)[i]);
        }
    }
    return run;
}

Checked<SeenValue> ValueRun::At(std::uint32_t index) const
{
    const bool isFirst = index < m_first.count;
    const Hive& hive = isFirst ? *m_firstHive : *m_secondHive;
    const Checked<ValueRecord> value = hive.Value(isFirst ? m_first[index] : m_more[index - m_first.count]);
    return value ? Checked<SeenValue>(SeenValue{&hive, *value}) : tl::unexpected(value.error());
}

Checked<std::optional<SeenValue>> FindValue(const KeyRef& key, std::u16string_view name)
{
    for (const KeyPart& part : key.Parts()) {
        const Checked<KeyNode> node = part.Node();
        const auto value = node ? part.Reader().FindValue(*node, name) : tl::unexpected(node.error());
        if (!value) {
            return tl::unexpected(value.error());
        }
        if (*value) {
            return SeenValue{&part.Reader(), **value};
        }
    }
    return std::nullopt;
}

} // namespace tolvar
