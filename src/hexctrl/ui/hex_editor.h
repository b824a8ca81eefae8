#pragma once

#include <array>

#include <QWidget>

#include "hexctrl/ui/hex_find_bar.h"
#include "hexctrl/ui/hex_inspector_bar.h"

class QAction;

namespace tolvar {

/// A hex control with what users expect around it: the find bar, the inspector line, and every command as an action
/// with its shortcut. While the control has the focus these come before the window's own shortcuts; in the find bar
/// those of the search do. A form embeds this, or the control alone.
class HexEditor final : public QWidget {
    Q_OBJECT

public:
    /// The classes must be registered (see RegisterHexClasses).
    HexEditor(const HexTexts& texts, QWidget* parent);

    [[nodiscard]] HexControl& Control() const { return *m_pControl; }
    [[nodiscard]] HexFindBar& FindBar() const { return *m_pFindBar; }
    [[nodiscard]] HexInspectorBar& Inspector() const { return *m_pInspector; }

    /// For menus and tool bars. It is enabled where the command can act.
    [[nodiscard]] QAction* Action(HexCommand command) const { return m_actions[static_cast<std::size_t>(command)]; }
    /// Looks again at what can be done: before a menu opens, as another control may have copied something to paste.
    void UpdateActions();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    [[nodiscard]] QAction* ActionOf(const QKeyEvent& event) const; ///< null: the key is none of ours
    void Run(HexCommand command);

    // All owned by this widget.
    HexControl* m_pControl;
    HexFindBar* m_pFindBar;
    HexInspectorBar* m_pInspector;
    std::array<QAction*, static_cast<std::size_t>(HexCommand::kCount)> m_actions{};
};

} // namespace tolvar
