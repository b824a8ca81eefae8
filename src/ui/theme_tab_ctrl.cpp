#include "ui/theme_tab_ctrl.h"

#include <QTabBar>

#include "ui/profile_font.h"

namespace tolvar {

namespace {

constexpr QSize kIconSize(16, 16);

} // namespace

CThemeTabCtrl::CThemeTabCtrl(const WindowContext& context, const char* bottomKey, int bottomByDefault, QWidget* parent)
    : QTabWidget(parent)
{
    setFont(ProfileFont(context, kTabFont));
    setIconSize(kIconSize);
    setDocumentMode(true);
    const bool isBottom = context.profile.GetInt(kSettingsSection, bottomKey, bottomByDefault) != 0;
    setTabPosition(context.m_bThemed && isBottom ? South : North);
}

void CThemeTabCtrl::FocusTab(int index)
{
    if (index >= 0 && index < count()) {
        if (index == currentIndex()) {
            emit tabBarClicked(index);
        } else {
            setCurrentIndex(index);
        }
    }
}

} // namespace tolvar
