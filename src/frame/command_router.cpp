#include "frame/command_router.h"

#include <QAction>
#include <QMenuBar>
#include <QToolBar>

namespace tolvar {

CommandRouter::CommandRouter(const WindowContext& context, CommandHost& host, QWidget* window)
    : QObject(window), m_context(context), m_host(host)
{
    MakeActions(window);
}

void CommandRouter::MakeActions(QWidget* window)
{
    for (const CommandId command : AllCommands()) {
        auto* action = new QAction(window);
        const QString texts = m_context.language.String(command);
        const QString tip = texts.section(u'\n', 1);
        const QList<QKeySequence> keys = m_context.language.Accelerators(command);
        action->setObjectName(QString::number(static_cast<int>(command)));
        action->setText(tip);
        action->setStatusTip(texts.section(u'\n', 0, 0));
        action->setToolTip(
            keys.isEmpty() ? tip : tip + QStringLiteral(" (%1)").arg(keys.first().toString(QKeySequence::NativeText)));
        action->setIcon(m_context.theme.StripIcon(StripId::kMenus, command));
        action->setShortcuts(keys);
        action->setCheckable(StateOf(command, {}).isChecked.has_value());
        connect(action, &QAction::triggered, this, [this, command] {
            Run(command);
            Update(); // a check mark follows what is so, not the click
        });
        window->addAction(action);
        m_actions.emplace(command, action);
    }
}

void CommandRouter::FillMenuBar(QMenuBar& bar, MenuId menu)
{
    for (const MenuItem& popup : m_context.language.Menu(menu)) {
        QMenu* const added = bar.addMenu(popup.text);
        AddItems(*added, popup.items);
        connect(added, &QMenu::aboutToShow, this, &CommandRouter::Update);
    }
}

void CommandRouter::AddItems(QMenu& menu, const std::vector<MenuItem>& items)
{
    for (const MenuItem& item : items) {
        const CommandId command = item.command;
        if (item.IsSeparator()) {
            menu.addSeparator();
        } else if (!item.items.empty()) {
            AddItems(*menu.addMenu(item.text), item.items);
        } else if (command == CommandId::kRecentFiles) {
            m_popups.emplace(command, menu.addMenu(Action(command)->icon(), item.text));
        } else if (const auto action = m_actions.find(command); action != m_actions.end()) {
            action->second->setText(item.text);
            menu.addAction(action->second);
        }
    }
}

void CommandRouter::FillToolBar(QToolBar& bar, ToolbarId toolbar) const
{
    for (const CommandId command : m_context.theme.Toolbar(toolbar)) {
        if (command == CommandId{}) {
            bar.addSeparator();
        } else {
            bar.addAction(Action(command));
        }
    }
}

QMenu* CommandRouter::Popup(CommandId command) const
{
    const auto popup = m_popups.find(command);
    return popup != m_popups.end() ? popup->second : nullptr;
}

CommandState CommandRouter::State(CommandId command, const CommandFacts& facts) const
{
    CommandState state = StateOf(command, facts);
    state.isEnabled = state.isEnabled && m_host.CanRun(state.receiver, command);
    return state;
}

bool CommandRouter::Run(CommandId command)
{
    const CommandState state = State(command, m_host.Facts());
    if (state.isEnabled) {
        m_host.Run(state.receiver, command);
    }
    return state.isEnabled;
}

void CommandRouter::Update()
{
    const CommandFacts facts = m_host.Facts();
    for (const auto& [command, action] : m_actions) {
        const CommandState state = State(command, facts);
        action->setEnabled(state.isEnabled);
        if (state.isChecked) {
            action->setChecked(*state.isChecked);
        }
    }
}

} // namespace tolvar
