#include "cli/walk_line.h"

#include <fmt/format.h>

#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

WalkPath::WalkPath(std::string_view top)
{
    m_text = ToUtf16(TrimPathEnd(top)).value_or(std::u16string());
    m_ends.push_back(m_text.size());
}

void WalkPath::Enter(const KeyCursor& key)
{
    if (key.Depth() == 0) {
        return;
    }
    m_ends.resize(key.Depth());
    m_text.resize(m_ends.back());
    m_text.push_back(char16_t{kPathSeparator});
    m_text.append(key.Name().ToUtf16());
    m_ends.push_back(m_text.size());
}

void HeldFaults::Add(const KeyFault& fault)
{
    constexpr std::size_t kTold = 100;
    if (m_faults.size() < kTold) {
        m_faults.push_back(fault.ToError());
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
