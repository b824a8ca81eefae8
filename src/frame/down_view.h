#pragma once

#include "frame/pane_table.h"
#include "frame/tabs_view.h"

namespace tolvar {

class CDownTabs;

/// The lower pane: the tabs with bookmarks, search results and journal.
class CDownView final : public CTabsView {
    Q_OBJECT

public:
    CDownView(const PaneContext& context, QWidget* parent);

    [[nodiscard]] CDownTabs& Tabs() { return *m_pTabs; }

    void FocusChild() override;

private:
    CDownTabs* m_pTabs; ///< owned by the view
};

} // namespace tolvar
