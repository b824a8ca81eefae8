#pragma once

#include "frame/pane_tabs.h"

namespace tolvar {

class EmptyTabPage;

/// The pages of the lower pane: bookmarks, search results and journal, numbered from 1 as the frame's output. The
/// numbers up to kLastOutput have no page: the pane stays empty.
class CDownTabs final : public CPaneTabs {
    Q_OBJECT

public:
    static constexpr int kLastOutput = 6;

    CDownTabs(const PaneContext& context, QWidget* parent);
    ~CDownTabs() override;

    /// Shows the page of an output number, or none where it has none.
    void ShowOutput(int output);

    /// The number of what is shown. What the frame does with its own number is its own matter.
    [[nodiscard]] int Output() const { return m_nOutput; }

    /// Gives the focus to what is shown.
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
    EmptyTabPage* m_pNoPage; ///< lies over the pages while a number without one is shown; owned by the holder
};

} // namespace tolvar
