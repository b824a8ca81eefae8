#pragma once

#include <functional>

#include <QTreeView>

#include "keytree/key_tree_model.h"
#include "panes/command_map.h"
#include "panes/pane.h"
#include "panes/pane_messages.h"
#include "platform/system/error.h"
#include "registry/reg_key.h"
#include "ui/window_context.h"

namespace tolvar {

struct ChangeRecord;

/// Makes a change and journals it: what the tree has of the document.
using ApplyChange = std::function<Result<void>(const ChangeRecord& change)>;

/// The registry as a tree. Its selection is the program's current key: every change of it becomes the messages that
/// bring the right pane and the status bar up to date. Any other pane that wants to show a key sends this one a path.
///
/// Takes GoToKeyMessage, RefreshKeyMessage and the messages that ask for changes; sends ShowPageMessage,
/// ShowKeyMessage, SelectRowMessage and StatusTextMessage, CommandMessage for new values, and FocusTabMessage on the
/// Tab key. The commands that change keys and values go out from here as changes to be journalled, whoever has asked
/// for them.
class CKeyTree final : public QTreeView, public Pane {
    Q_OBJECT

public:
    CKeyTree(const WindowContext& context, ApplyChange applyChange, QWidget* parent);

    /// Selects the tree root, so that the value list shows the roots.
    void SelectTreeRoot();

    /// Open with KEY_READ on the selected key; null when none is selected, or it could not be opened.
    [[nodiscard]] HKEY SelectedKey() const { return m_hSelectedKey.Get(); }

    [[nodiscard]] KeyTreeModel& Model() { return *m_pModel; }

    [[nodiscard]] bool Offers(CommandId command) const override;
    [[nodiscard]] bool IsEnabled(CommandId command) const override; ///< no edit of a key that another page hides
    void Run(CommandId command) override;
    void AddFacts(PaneFacts& facts) const override;
    void OnKeysChanged(std::span<const ChangedKey> keys) override;

    /// Reads the selected key's subkeys again. The value list is not touched.
    void RefreshSelected();

protected:
    bool event(QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    [[nodiscard]] static std::span<const CommandEntry<CKeyTree>> Commands();

    void ExpandSelected();
    void CollapseSelected();
    void CopyPath();

    void NewKey();
    void RenameSelected();
    void OnLabelEdited(const QModelIndex& item, const QString& text);
    void DeleteSelected();
    void CutSelected();
    void PasteValue();
    void StoreValue(FormDoneMessage& message);
    void DeleteValue(DeleteValueMessage& message);
    void DeleteSubkey(DeleteSubkeyMessage& message);
    void RenameFromList(RenameMessage& message);
    [[nodiscard]] Result<void> Apply(const ChangeRecord& change, const QModelIndex& item);
    void ShowFailure(const QString& text);
    void ShowNotChanged(const Error& failure);

    void FitColumn();
    void OnSelectionChanged(const QModelIndex& item);
    void OnFilledEmpty(const QModelIndex& item);
    void OpenSelectedKey(const KeyPlace& place);
    void ShowSelectedKey(const KeyPlace& place);
    void ShowSelectedPath();
    void ShowSelectionAgain();
    int GoToKey(GoToKeyMessage& message);
    int GoToChild(std::string_view name);
    int GoToParent();
    int GoToPath(GoToKeyMessage& message);
    void RefreshPath(const std::string& path);
    void RefreshOne(const std::string& path, bool expandsTarget);
    void ReadAnew(const QModelIndex& item);
    void ReadShownItems(std::span<const std::string> paths);
    [[nodiscard]] QModelIndex ShownItem(std::string_view path) const;

    /// What a walk down a path came to.
    struct Reached {
        QModelIndex item; ///< the deepest one on the way
        bool isAll;       ///< it is the path's own
    };
    enum class Walk { kExpanding, kAsRead };
    [[nodiscard]] Reached WalkTo(std::string_view path, Walk how);
    void SelectNearest(const std::string& path);
    void Expand(const QModelIndex& item);
    void Select(const QModelIndex& item);

    const WindowContext& m_context;
    ApplyChange m_applyChange;
    KeyTreeModel* m_pModel; ///< owned by the view
    RegKey m_hSelectedKey;
    QPersistentModelIndex m_changedItem; ///< what a change that is being made happens to; the tree shows that itself
    bool m_bReadingAnew = false;         ///< the selection that goes by then is no selection of the user's
    QPersistentModelIndex m_cutItem;     ///< the key that Cut has marked
    bool m_bCutPending = false;          ///< the next Paste takes the value away there
    bool m_bPlaySounds;
    bool m_bSingleExpand;
};

} // namespace tolvar
