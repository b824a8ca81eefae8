#pragma once

#include "platform/system/profile.h"
#include "ui/resource_library.h"

namespace tolvar {

/// What every window is made with. All of it outlives the windows.
struct WindowContext {
    Profile& profile;
    const ResourceLibrary& language;
    const ResourceLibrary& theme;
    bool m_bIsNT = true;    ///< the NT family: keys have owners and times
    bool m_bThemed = false; ///< the look of the theme library instead of the desktop's
};

/// The section of the profile that holds all settings but the frame's.
inline constexpr const char* kSettingsSection = "settings";

} // namespace tolvar
