#pragma once

#include "panes/pane_messages.h"
#include "ui/theme_tab_ctrl.h"

namespace tolvar {

class CKeyTree;
class CTolvarDoc;

/// The pages of the left pane: the key tree and the help topics. What the tree tells goes on to the right pane; the
/// page that is shown decides what the right pane has. Changes go from here to the document.
class CLeftTabs final : public CThemeTabCtrl {
    Q_OBJECT

public:
    enum Tab : int { kKeyTreeTab, kHelpTab };

    CLeftTabs(const WindowContext& context, CTolvarDoc& document, QWidget* parent);
    ~CLeftTabs() override;

    [[nodiscard]] CKeyTree& KeyTree() { return *m_pKeyTree; }

    /// Shows the help topics, and a topic's page in the right pane.
    void ShowTopic(int topic);

    /// The help topic of the current page.
    [[nodiscard]] int HelpTopic() const;

    /// Gives the focus to the page of the current tab.
    void FocusPage();

protected:
    bool event(QEvent* event) override;

private:
    void OnTabShown(int index);

    const WindowContext& m_context;
    CTolvarDoc& m_document;
    CKeyTree* m_pKeyTree; ///< owned by the holder, as the help topics are
    QWidget* m_pHelpTree;
};

} // namespace tolvar
