#pragma once

#include <string>

#include <QTimer>

#include "panes/command_map.h"
#include "panes/pane.h"
#include "panes/pane_messages.h"
#include "ui/theme_list_ctrl.h"
#include "ui/tip_window.h"
#include "valuelist/row_tip.h"
#include "valuelist/value_list_model.h"

namespace tolvar {

/// The list in the right pane: the values of one key and, on request, its subkeys, or the roots of the registry. Each
/// change of key or columns drops all rows and reads the key again.
///
/// Takes ShowKeyMessage and SelectRowMessage; sends GoToKeyMessage to its parent. Writes the last key
/// to the profile at its end.
class CValueList : public CThemeListCtrl, public Pane {
    Q_OBJECT

public:
    CValueList(const WindowContext& context, QWidget* parent);
    ~CValueList() override;

    /// Shows a key; both null and empty: the roots. Answers the code of what failed.
    LSTATUS ShowKey(HKEY root, const std::string& subpath);

    /// Selects the last row with exactly that name. Answers 0, or 1 when there is none.
    int SelectRow(std::string_view name);

    [[nodiscard]] bool Offers(CommandId command) const override;
    void Run(CommandId command) override;
    void AddFacts(PaneFacts& facts) const override;

    /// The row at the selection mark; null for none.
    [[nodiscard]] const KeyRow* MarkedRow() const;

    [[nodiscard]] const ValueListModel& Model() const { return *m_pModel; }

    /// The tip that tells about the current row.
    [[nodiscard]] const CTipWindow& Tip() const { return *m_pTip; }

    /// The colour of odd rows or of the first column, as the settings say.
    [[nodiscard]] ListColor Tint() const { return m_crTint; }

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

    [[nodiscard]] bool WantItemNotifications() const override { return m_bRowColors; }
    [[nodiscard]] bool WantSubitemNotifications(const ListItem& /*item*/) const override { return true; }
    [[nodiscard]] ListColor SubitemTextColor(const ListCell& /*cell*/) const override { return kUsualColor; }
    [[nodiscard]] ListColor SubitemBackColor(const ListCell& cell) const override;

private:
    [[nodiscard]] static std::span<const CommandEntry<CValueList>> Commands();

    template <KeyColumn column>
    void Toggle()
    {
        ToggleColumn(column);
    }
    void ToggleColumn(KeyColumn column);
    void ToggleShowKeys();
    void CopyMarked();
    void Paste();
    void Modify();
    void ModifyNumber();
    template <DWORD type>
    void NewValue()
    {
        ShowNewForm(type);
    }
    void ShowNewForm(DWORD type);
    void ShowForm(const std::string& name, bool asNumber);
    void DeleteSelected();
    void DeleteRows(const std::vector<ValueEdit>& rows);
    [[nodiscard]] bool Delete(const ValueEdit& row);
    void RenameMarked();
    void OnNameEdited(int row, const QString& name);
    void ShowTip();
    void StartTip(const QModelIndex& row);
    void ShowAgain();
    void SetShownWidths();
    void OpenRow(const QModelIndex& index);
    void ShowHeaderMenu(const QPoint& at);

    const WindowContext& m_context;
    ValueListModel* m_pModel; ///< owned by the view
    RowTipTexts m_tipTexts;
    CTipWindow* m_pTip; ///< owned by the view
    QTimer m_tipTimer;  ///< runs out when the tip of the current row is to be shown
    bool m_bTips;
    bool m_bShowKeys;
    bool m_bRowColors;
    ListColor m_crTint;
    HKEY m_hRootKey = nullptr; ///< of the shown key; null when the roots are shown
    std::string m_szKeyPath;   ///< its subpath; empty for a root key and for the roots
};

} // namespace tolvar
