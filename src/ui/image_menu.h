#pragma once

#include <functional>

#include <QMenu>

#include "ui/window_context.h"

namespace tolvar {

/// A context menu: the first popup of a menu of the language library, with the theme's icons beside its commands and
/// their key sequences behind them. What is chosen goes straight to the control that opened the menu.
class CImageMenu final : public QMenu {
    Q_OBJECT

public:
    CImageMenu(const WindowContext& context, MenuId menu, QWidget* parent);

    /// Takes a command out of the menu.
    void Remove(CommandId command);

    /// Takes out the separator with that position among the separators.
    void RemoveSeparator(int position);

    void Gray(CommandId command);

    /// Grays every command that `isOffered` answers false for.
    void GrayUnless(const std::function<bool(CommandId command)>& isOffered);
    void Check(CommandId command, bool isChecked);
    void SetDefault(CommandId command);

    /// Opens the menu at a place of the screen, and answers the chosen command; CommandId{} for none.
    [[nodiscard]] CommandId Track(const QPoint& at);

private:
    [[nodiscard]] QAction* ActionOf(CommandId command) const;
};

} // namespace tolvar
