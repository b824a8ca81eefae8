#pragma once

#include "frame/pane_tabs.h"

namespace tolvar {

/// The pages of the left pane: the key tree and the help topics. What the tree tells goes on to the right pane; the
/// page that is shown decides what the right pane has.
class CLeftTabs final : public CPaneTabs {
    Q_OBJECT

public:
    enum Tab : int { kKeyTreeTab, kHelpTab };

    CLeftTabs(const PaneContext& context, QWidget* parent);
    ~CLeftTabs() override;

    /// Shows the help topics, and a topic's page in the right pane.
    void ShowTopic(TopicId topic);

protected:
    bool event(QEvent* event) override;

private:
    void OnTabShown(int index);

    const WindowContext& m_context;
};

} // namespace tolvar
