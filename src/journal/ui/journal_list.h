#pragma once

#include <vector>

#include <QMessageBox>

#include "journal/ui/journal_list_model.h"
#include "journal/undo_asking.h"
#include "panes/command_map.h"
#include "panes/pane.h"
#include "panes/pane_messages.h"
#include "ui/theme_list_ctrl.h"

namespace tolvar {

/// The list of recorded changes, oldest first, and the commands that undo or forget them.
///
/// Sends RefreshKeyMessage and DeleteValueMessage when the registry was changed, GoToKeyMessage on the Return key, and
/// NextOutputPageMessage on the Tab key.
class CJournalList final : public CThemeListCtrl, public Pane, private JournalObserver, private UndoAsker {
    Q_OBJECT

public:
    /// Both must outlive the list. The list is the document's observer as long as it lives.
    CJournalList(const WindowContext& context, CTolvarDoc& document, QWidget* parent);
    ~CJournalList() override;

    /// Shows the journal as it stands now.
    void FillFromJournal();

    [[nodiscard]] bool Offers(CommandId command) const override;
    /// Redo while there is something to redo, the others while a row has the selection mark.
    [[nodiscard]] bool IsEnabled(CommandId command) const override;
    void Run(CommandId command) override;
    void OnInitialUpdate() override { FillFromJournal(); }

protected:
    bool focusNextPrevChild(bool next) override;
    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    [[nodiscard]] bool WantItemNotifications() const override { return m_bRowColors; }
    [[nodiscard]] ListColor ItemBackColor(const ListItem& item) const override;

private:
    [[nodiscard]] static std::span<const CommandEntry<CJournalList>> Commands();

    void OnRecordAdded(std::string_view record) override;
    void UndoSelected();
    void UndoAll();
    void Redo();
    void RemoveSelected();
    void RemoveAll();
    void UndoRows(std::vector<std::size_t> entries, bool showsKeyAgain);
    void ShowChangedKey(bool showsKeyAgain);
    [[nodiscard]] UndoReport Undo(std::vector<std::size_t> entries, UndoForce force) override;
    [[nodiscard]] bool WantsLater(const std::vector<std::size_t>& later) override;
    [[nodiscard]] bool WantsAllTheSame(const std::vector<std::size_t>& changed) override;
    [[nodiscard]] bool WantsUndone(TextId question, const std::vector<std::size_t>& entries);
    void Remove(const std::vector<std::size_t>& entries);
    void GoToKeyOfMark();
    [[nodiscard]] std::vector<std::size_t> SelectedRows() const;
    [[nodiscard]] std::vector<std::size_t> AllRows() const;
    [[nodiscard]] bool Confirms(const QString& question);
    void ShowFailure(const QString& text);
    int Show(QMessageBox::Icon icon, const QString& text, QMessageBox::StandardButtons buttons);
    void FitKeyColumn();

    const WindowContext& m_context;
    CTolvarDoc& m_document;
    JournalListModel* m_pModel; ///< owned by the view
    bool m_bRowColors;
    ListColor m_crTint;
};

} // namespace tolvar
