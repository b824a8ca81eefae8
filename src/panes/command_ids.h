#pragma once

namespace tolvar {

/// The commands of menus, toolbar and keys, by their numbers. The libraries of texts and icons know them by these too.
enum class CommandId : int {
    kNothing = 208,
    kGo = 1004, ///< to the key in the address bar

    kExpandBookmarks = 32795,
    kCollapseBookmarks = 32796,
    kDeleteBookmark = 32797,
    kGoToBookmark = 32798,
    kRenameBookmark = 32799,
    kNewBookmarkFolder = 32800,
    kRemoveEntry = 32801,
    kUndoEntry = 32802,
    kRemoveAllEntries = 32803,
    kShowResults = 32804,
    kShowBookmarks = 32805,
    kShowJournal = 32806,
    kDelete = 32808,
    kRename = 32809,
    kModify = 32810,
    kAddBookmark = 32811,
    kNewBinary = 32812,
    kNewKey = 33813,
    kNewDword = 33814,
    kNewString = 33815,
    kExpand = 33818,
    kCollapse = 33819,
    kImport = 33820,
    kExport = 33821,
    kUnused = 33822,
    kUndoAllEntries = 33828,
    kGoToHit = 33829,
    kShowList = 33830,
    kUpdateProgram = 33831,
    kShowOutput4 = 40001,
    kShowOutput5 = 40002,
    kShowOutput6 = 40003,
    kRefresh = 40009,
    kAddressBar = 40010,
    kNewMultiString = 40011,
    kNewExpandString = 40012,
    kNewCustom = 40013,
    kNewResourceList = 40014,
    kShowKeys = 40015,
    kColumnData = 40017,
    kColumnType = 40018,
    kColumnLastChange = 40019,
    kColumnLength = 40020,
    kSignal1 = 40021, ///< these six are sent to the left tabs, which do nothing
    kSignal2 = 40022,
    kSignal3 = 40023,
    kSignal4 = 40024,
    kSignal5 = 40025,
    kSignal16 = 40026,
    kPermissions = 40028,
    kListNothing = 40029,
    kColumnOwner = 40030,
    kTakeOwnership = 40032,

    kFileNew = 57600,
    kFileOpen = 57601,
    kRecentFiles = 57616, ///< a popup of files
    kCopy = 57634,
    kCut = 57635,
    kFind = 57636,
    kPaste = 57637,
    kSelectAll = 57642,
    kAbout = 57664,
    kExit = 57665,
    kHelp = 57670,
    kNextPane = 57680,
    kPreviousPane = 57681,
    kToolBar = 59392,

    kTypeAddress = 62100, ///< puts the caret into the address bar
    kParentKey = 62101,
    kClosePane = 62103, ///< closes the lower pane
    kModifyNumber = 62110,
    kRedo = 62111, ///< what the journal has undone
};

} // namespace tolvar
