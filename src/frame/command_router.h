#pragma once

#include <map>

#include <QObject>

#include "frame/commands.h"
#include "ui/window_context.h"

class QAction;
class QMenu;
class QMenuBar;
class QToolBar;
class QWidget;

namespace tolvar {

/// The window as the router sees it.
class CommandHost {
public:
    virtual ~CommandHost() = default;

    [[nodiscard]] virtual CommandFacts Facts() const = 0;

    /// Whether the receiver has somebody who can carry the command out now.
    [[nodiscard]] virtual bool CanRun(Receiver receiver, CommandId command) const = 0;
    virtual void Run(Receiver receiver, CommandId command) = 0;
};

/// One action for each command, with the texts, keys and icons of the libraries, and the road from an action to whoever
/// carries its command out.
class CommandRouter final : public QObject {
    Q_OBJECT

public:
    /// `window` gets the actions, so that their keys work in all of it, and owns them. `host` must outlive the router.
    CommandRouter(const WindowContext& context, CommandHost& host, QWidget* window);

    [[nodiscard]] QAction* Action(CommandId command) const { return m_actions.at(command); }

    /// Fills a menu bar from a menu of the language library.
    void FillMenuBar(QMenuBar& bar, MenuId menu);

    /// Fills a toolbar from a toolbar of the theme library.
    void FillToolBar(QToolBar& bar, ToolbarId toolbar) const;

    /// The popup that stands in the menu for a command that is one; null before FillMenuBar.
    [[nodiscard]] QMenu* Popup(CommandId command) const;

    /// Carries a command out, if its rule lets it through. Answers whether it did.
    bool Run(CommandId command);

    /// Asks the rules again, and shows the answers on all actions.
    void Update();

private:
    void MakeActions(QWidget* window);
    void AddItems(QMenu& menu, const std::vector<MenuItem>& items);
    [[nodiscard]] CommandState State(CommandId command, const CommandFacts& facts) const;

    const WindowContext& m_context;
    CommandHost& m_host;
    std::map<CommandId, QAction*> m_actions;
    std::map<CommandId, QMenu*> m_popups;
};

} // namespace tolvar
