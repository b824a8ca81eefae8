#pragma once

#include <functional>

#include <QMenu>

#include "ui/window_context.h"

namespace tolvar {

inline constexpr int kMenuStrip = 264; ///< the strip of the theme library that has the menus' icons

/// A context menu: the first popup of a menu of the language library, with the theme's icons beside its commands and
/// their key sequences behind them. What is chosen goes straight to the control that opened the menu.
class CImageMenu final : public QMenu {
    Q_OBJECT

public:
    CImageMenu(const WindowContext& context, int menu, QWidget* parent);

    /// Takes a command out of the menu.
    void Remove(int command);

    /// Takes out the separator with that position among the separators.
    void RemoveSeparator(int position);

    void Gray(int command);

    /// Grays every command that `isOffered` answers false for.
    void GrayUnless(const std::function<bool(int command)>& isOffered);
    void Check(int command, bool isChecked);
    void SetDefault(int command);

    /// Opens the menu at a place of the screen, and answers the chosen command; 0 for none.
    [[nodiscard]] int Track(const QPoint& at);

private:
    [[nodiscard]] QAction* ActionOf(int command) const;
};

} // namespace tolvar
