#pragma once

#include <QMainWindow>

#include "app/pane_messages.h"
#include "ui/window_context.h"

class QSplitter;

namespace tolvar {

class CKeyTree;
class CValueList;
class PathLabel;

/// The one top-level window: the key tree, the value list, and a status bar with the selected key's path. It forwards
/// the messages between the panes.
class CMainFrame final : public QMainWindow {
    Q_OBJECT

public:
    explicit CMainFrame(const WindowContext& context);

    /// Shows a key, and answers whether it was found.
    bool GoToKey(const std::string& path);

    /// Shows the list of roots.
    void ShowRoots();

    [[nodiscard]] CKeyTree& KeyTree() { return *m_pKeyTree; }
    [[nodiscard]] CValueList& ValueList() { return *m_pValueList; }
    [[nodiscard]] QString StatusText() const;

protected:
    bool event(QEvent* event) override;

private:
    QSplitter* m_pColumns; ///< all owned by the frame
    CKeyTree* m_pKeyTree;
    CValueList* m_pValueList;
    PathLabel* m_pPathLabel;
};

} // namespace tolvar
