#pragma once

#include "frame/pane_view.h"
#include "ui/window_context.h"

namespace tolvar {

class CKeyTree;
class CLeftTabs;
class CTolvarDoc;

/// The upper left pane: the tabs with key tree and help topics.
class CLeftView final : public CPaneView {
    Q_OBJECT

public:
    CLeftView(const WindowContext& context, CTolvarDoc& document, QWidget* parent);

    [[nodiscard]] CLeftTabs& Tabs() { return *m_pTabs; }
    [[nodiscard]] CKeyTree& KeyTree() { return *m_pKeyTree; }

    void FocusChild() override;
    [[nodiscard]] int HelpTopic() const override;
    [[nodiscard]] bool Offers(CommandId command) const override;
    void RunCommand(CommandId command) override;

protected:
    bool event(QEvent* event) override;

private:
    CLeftTabs* m_pTabs; ///< owned by the view
    CKeyTree* m_pKeyTree;
};

} // namespace tolvar
