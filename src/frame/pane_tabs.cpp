#include "frame/pane_tabs.h"

namespace tolvar {

CPaneTabs::CPaneTabs(const PaneContext& context, std::span<const TabPage> pages, const char* bottomKey,
                     int bottomByDefault, QWidget* parent)
    : CThemeTabCtrl(context.window, bottomKey, bottomByDefault, parent)
{
    for (const TabPage& page : pages) {
        Pane& pane = page.make(context, page, this);
        pane.Widget().setProperty("pageId", page.id);
        m_panes.push_back(&pane);
        addTab(&pane.Widget(), context.window.theme.Icon(page.icon), context.window.language.String(page.title));
    }
}

} // namespace tolvar
