#include "ui/image_menu.h"

namespace tolvar {

namespace {

void AddItems(QMenu& menu, const WindowContext& context, const std::vector<MenuItem>& items)
{
    for (const MenuItem& item : items) {
        if (item.IsSeparator()) {
            menu.addSeparator();
        } else if (!item.items.empty()) {
            AddItems(*menu.addMenu(item.text), context, item.items);
        } else {
            // The keys stand in the text: as a shortcut of this action they would clash with the main menu's.
            const QList<QKeySequence> keys = context.language.Accelerators(item.command);
            const QString text =
                keys.isEmpty() ? item.text : item.text + u'\t' + keys.first().toString(QKeySequence::NativeText);
            menu.addAction(context.theme.StripIcon(StripId::kMenus, item.command), text)
                ->setData(QVariant::fromValue(item.command));
        }
    }
}

CommandId CommandOf(const QAction& action)
{
    return action.data().value<CommandId>();
}

QAction* Find(const QMenu& menu, CommandId command)
{
    for (QAction* action : menu.actions()) {
        if (action->menu() != nullptr) {
            if (QAction* const found = Find(*action->menu(), command); found != nullptr) {
                return found;
            }
        } else if (CommandOf(*action) == command) {
            return action;
        }
    }
    return nullptr;
}

} // namespace

CImageMenu::CImageMenu(const WindowContext& context, MenuId menu, QWidget* parent) : QMenu(parent)
{
    setSeparatorsCollapsible(true);
    if (const std::vector<MenuItem>& popups = context.language.Menu(menu); !popups.empty()) {
        setAccessibleName(popups.front().text);
        AddItems(*this, context, popups.front().items);
    }
}

QAction* CImageMenu::ActionOf(CommandId command) const
{
    return Find(*this, command);
}

void CImageMenu::Remove(CommandId command)
{
    delete ActionOf(command);
}

void CImageMenu::RemoveSeparator(int position)
{
    for (QAction* action : actions()) {
        if (action->isSeparator() && position-- == 0) {
            delete action;
            return;
        }
    }
}

void CImageMenu::Gray(CommandId command)
{
    if (QAction* const action = ActionOf(command); action != nullptr) {
        action->setEnabled(false);
    }
}

void CImageMenu::GrayUnless(const std::function<bool(CommandId command)>& isOffered)
{
    for (QAction* action : findChildren<QAction*>()) {
        if (const CommandId command = CommandOf(*action); command != CommandId{} && !isOffered(command)) {
            action->setEnabled(false);
        }
    }
}

void CImageMenu::Check(CommandId command, bool isChecked)
{
    if (QAction* const action = ActionOf(command); action != nullptr) {
        action->setCheckable(true);
        action->setChecked(isChecked);
    }
}

void CImageMenu::SetDefault(CommandId command)
{
    setDefaultAction(ActionOf(command));
}

CommandId CImageMenu::Track(const QPoint& at)
{
    const QAction* const chosen = exec(at);
    return chosen != nullptr ? CommandOf(*chosen) : CommandId{};
}

} // namespace tolvar
