#pragma once

#include <vector>

#include "frame/pane_table.h"
#include "ui/theme_tab_ctrl.h"

namespace tolvar {

/// A tab holder of panes.
class CPaneTabs : public CThemeTabCtrl {
    Q_OBJECT

public:
    /// `bottomKey`, `bottomByDefault`: see CThemeTabCtrl.
    CPaneTabs(const PaneContext& context, std::span<const TabPage> pages, const char* bottomKey, int bottomByDefault,
              QWidget* parent);

    /// In the order of their tabs. All owned by the holder.
    [[nodiscard]] std::span<Pane* const> Panes() const { return m_panes; }

    /// The pane of the current tab.
    [[nodiscard]] Pane& CurrentPane() const { return *m_panes[static_cast<std::size_t>(currentIndex())]; }

private:
    std::vector<Pane*> m_panes;
};

} // namespace tolvar
