#pragma once

#include <QMainWindow>

#include "frame/command_router.h"
#include "frame/window_state.h"
#include "panes/pane_messages.h"
#include "platform/registry/change_feed.h"
#include "ui/window_context.h"

class QSplitter;
class QToolBar;

namespace tolvar {

class CAddressBar;
class CDownView;
class CLeftView;
class CPaneView;
class CStatusBar;
class CTolvarDoc;
class CTolvarView;
class Pane;

/// The one top-level window: three panes, the bars around them, and what of all this outlives a run. It carries the
/// panes' messages to those who act on them, and tells the panes what has changed in the registry.
class CMainFrame final : public QMainWindow, public PaneRouter, public RegistryObserver, private CommandHost {
    Q_OBJECT

public:
    /// `document` must outlive the frame.
    CMainFrame(const WindowContext& context, CTolvarDoc& document);
    ~CMainFrame() override;

    /// Shows what the document has read. Once, when it has.
    void OnInitialUpdate();

    /// Shows the frame. The first time it takes its size, panes and bars from the profile.
    void ActivateFrame();

    void Route(const QWidget& sender, PaneMessage& message) override;
    void OnChanged(std::span<const ChangedKey> keys) override;

    /// Shows a key, and answers whether it was found.
    bool GoToKey(const std::string& path);

    /// Shows the list of roots.
    void ShowRoots();

    /// Gives the right pane this width and the upper panes this height, as far as there is room; 0 leaves one as it is.
    void MakePaneRoom(int rightWidth, int upperHeight);

    [[nodiscard]] CLeftView& LeftView() { return *m_pLeftView; }
    [[nodiscard]] CTolvarView& RightView() { return *m_pRightView; }
    [[nodiscard]] CDownView& LowerView() { return *m_pLowerView; }
    [[nodiscard]] CAddressBar& AddressBar() { return *m_pAddressBar; }
    [[nodiscard]] CommandRouter& Router() { return *m_pRouter; }
    [[nodiscard]] QString StatusText() const;

    /// The page of the lower pane, from 1; 0: the pane is closed.
    [[nodiscard]] int Output() const { return m_nOutput; }

    /// The pane that has the focus, or had it last.
    [[nodiscard]] Receiver FocusPane() const { return m_focusPane; }

signals:
    /// A command for the application.
    void ApplicationCommand(CommandId command);

    /// Files were dropped on the window.
    void FilesDropped(const QStringList& files);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    [[nodiscard]] CommandFacts Facts() const override;
    [[nodiscard]] bool CanRun(Receiver receiver, CommandId command) const override;
    void Run(Receiver receiver, CommandId command) override;

    void MakePanes();
    void MakeBars();
    void FollowSelections();
    void Place(const WindowState& state);
    [[nodiscard]] WindowState CurrentState() const;

    void RunOwn(CommandId command);
    void Go();
    void GoToParent();
    void ShowPage(PageId page);
    void PostSignal(CommandId command);
    void ToggleOutput(int output);
    void CloseOutput();
    void SetOutput(int output);
    void ApplyPaneSizes();
    void OnSplitterMoved();
    void MovePane(int step);
    void FocusView(Receiver view);
    [[nodiscard]] CPaneView* View(Receiver view) const;
    [[nodiscard]] std::vector<Pane*> Panes() const;
    [[nodiscard]] QWidget& Tree() const;
    [[nodiscard]] QWidget& HolderOf(const QWidget& page) const;
    void ShowPath(const std::string& path);
    void OnFocusChanged(QWidget* now);

    const WindowContext& m_context;
    CTolvarDoc& m_document;
    bool m_bFirstShow = true;
    QSplitter* m_wndRows; ///< all owned by the frame
    QSplitter* m_wndColumns;
    CLeftView* m_pLeftView;
    CTolvarView* m_pRightView;
    CDownView* m_pLowerView;
    CAddressBar* m_pAddressBar;
    QToolBar* m_wndToolBar;
    CStatusBar* m_wndStatusBar;
    CommandRouter* m_pRouter;
    Receiver m_focusPane = Receiver::kLeftView;
    int m_nOutput = 0;
    int m_nPaneW = 0; ///< 0 before the first showing, as m_nPaneH
    int m_nPaneH = 0;
};

} // namespace tolvar
