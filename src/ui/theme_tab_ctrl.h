#pragma once

#include <QTabWidget>

#include "ui/window_context.h"

namespace tolvar {

/// Pages with a row of tabs, in the font of tabs. Derived holders say what a change of pages means.
class CThemeTabCtrl : public QTabWidget {
    Q_OBJECT

public:
    /// `bottomKey`: the setting that puts the tabs below the pages, where the look is the theme's.
    CThemeTabCtrl(const WindowContext& context, const char* bottomKey, int bottomByDefault, QWidget* parent);

    /// Shows a page as if the user had clicked its tab. A tab that does not exist changes nothing.
    void FocusTab(int index);
};

} // namespace tolvar
