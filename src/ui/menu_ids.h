#pragma once

namespace tolvar {

/// The menus of the language libraries, by their numbers.
enum class MenuId : int {
    kColumnHeads = 105,
    kEditField = 106,
    kMain = 128,
    kBookmarks = 180,
    kSearchResults = 181,
    kListRow = 182,
    kKey = 183,
    kJournal = 264,
};

/// The toolbars of the theme library.
enum class ToolbarId : int { kMain = 128 };

/// The sets of command icons in the theme library.
enum class StripId : int { kMenus = 264 };

} // namespace tolvar
