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
            menu.addAction(context.theme.StripIcon(kMenuStrip, item.command), text)->setData(item.command);
        }
    }
}

QAction* Find(const QMenu& menu, int command)
{
    for (QAction* action : menu.actions()) {
        if (action->menu() != nullptr) {
            if (QAction* const found = Find(*action->menu(), command); found != nullptr) {
                return found;
            }
        } else if (!action->isSeparator() && action->data().toInt() == command) {
            return action;
        }
    }
    return nullptr;
}

} // namespace

CImageMenu::CImageMenu(const WindowContext& context, int menu, QWidget* parent) : QMenu(parent)
{
    setSeparatorsCollapsible(true);
    if (const std::vector<MenuItem>& popups = context.language.Menu(menu); !popups.empty()) {
        setAccessibleName(popups.front().text);
        AddItems(*this, context, popups.front().items);
    }
}

QAction* CImageMenu::ActionOf(int command) const
{
    return Find(*this, command);
}

void CImageMenu::Remove(int command)
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

void CImageMenu::Gray(int command)
{
    if (QAction* const action = ActionOf(command); action != nullptr) {
        action->setEnabled(false);
    }
}

void CImageMenu::GrayUnless(const std::function<bool(int command)>& isOffered)
{
    for (QAction* action : findChildren<QAction*>()) {
        if (const int command = action->data().toInt(); command != 0 && !isOffered(command)) {
            action->setEnabled(false);
        }
    }
}

void CImageMenu::Check(int command, bool isChecked)
{
    if (QAction* const action = ActionOf(command); action != nullptr) {
        action->setCheckable(true);
        action->setChecked(isChecked);
    }
}

void CImageMenu::SetDefault(int command)
{
    setDefaultAction(ActionOf(command));
}

int CImageMenu::Track(const QPoint& at)
{
    const QAction* const chosen = exec(at);
    return chosen != nullptr ? chosen->data().toInt() : 0;
}

} // namespace tolvar
