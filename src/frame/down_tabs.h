#pragma once

#include "panes/pane_messages.h"
#include "ui/theme_tab_ctrl.h"

namespace tolvar {

class CJournalList;
class CTolvarDoc;

/// The pages of the lower pane: bookmarks, search results and journal, numbered from 1 as the frame's output. The
/// numbers up to kLastOutput have no page: the pane stays empty.
class CDownTabs final : public CThemeTabCtrl {
    Q_OBJECT

public:
    static constexpr int kLastOutput = 6;

    CDownTabs(const WindowContext& context, CTolvarDoc& document, QWidget* parent);
    ~CDownTabs() override;

    /// Shows the page of an output number, or none where it has none.
    void ShowOutput(int output);

    [[nodiscard]] CJournalList& JournalList() const { return *m_pJournalList; }

    /// The number of what is shown. What the frame does with its own number is its own matter.
    [[nodiscard]] int Output() const { return m_nOutput; }

    /// The help topic of the page that is shown.
    [[nodiscard]] int HelpTopic() const;

    /// Gives the focus to the page of the current tab.
    void FocusPage();

signals:
    /// The user has chosen a page, or the Tab key has led to one.
    void OutputChosen(int output);

    /// The user wants the pane closed.
    void CloseWanted();

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void OnTabShown(int index);
    void PlaceNoPage();

    int m_nOutput = 1;
    CJournalList* m_pJournalList; ///< owned by the holder, as the other pages are
    QWidget* m_pNoPage;           ///< lies over the pages while a number without one is shown; owned by the holder
};

} // namespace tolvar
