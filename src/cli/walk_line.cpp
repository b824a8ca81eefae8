#include "cli/walk_line.h"

#include <fmt/format.h>

#include "platform/system/text.h"

namespace tolvar {

WalkPath::WalkPath(std::string_view top)
{
    while (top.ends_with('\\')) {
        top.remove_suffix(1);
    }
    m_text = ToUtf16(top).value_or(std::u16string());
    m_ends.push_back(m_text.size());
}

void WalkPath::Enter(const KeyCursor& key)
{
    if (key.depth == 0) {
        return;
    }
    m_ends.resize(key.depth);
    m_text.resize(m_ends.back());
    m_text.push_back(u'\\');
    m_text.append(key.mountName != nullptr ? *key.mountName : key.node->name.ToUtf16());
    m_ends.push_back(m_text.size());
}

void HeldFaults::Add(const Hive& hive, const HiveFault& fault)
{
    constexpr std::size_t kTold = 100;
    if (m_faults.size() < kTold) {
        m_faults.push_back(hive.ToError(fault));
    } else {
        ++m_untold;
    }
}

void HeldFaults::Tell()
{
    for (const Error& fault : m_faults) {
        m_context.Report(fault);
    }
    if (m_untold != 0) {
        m_context.Report({m_faults.back().code, fmt::format("there are {} more faults in the same key", m_untold)});
    }
    m_faults.clear();
    m_untold = 0;
}

} // namespace tolvar
