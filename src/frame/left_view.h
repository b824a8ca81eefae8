#pragma once

#include "frame/pane_table.h"
#include "frame/tabs_view.h"

namespace tolvar {

class CLeftTabs;

/// The upper left pane: the tabs with key tree and help topics.
class CLeftView final : public CTabsView {
    Q_OBJECT

public:
    CLeftView(const PaneContext& context, QWidget* parent);

    [[nodiscard]] CLeftTabs& Tabs() { return *m_pTabs; }

private:
    CLeftTabs* m_pTabs; ///< owned by the view
};

} // namespace tolvar
