#pragma once

namespace tolvar {

/// The icons of the theme library (resources/theme/icons), by their numbers. The icons of commands are not among these:
/// a strip names them.
enum class IconId : int {
    kNone = 0,
    kMachine = 102,
    kSecondGroup = 105,
    kSearchResults = 106,
    kKeyTree = 121,
    kGo = 126,
    kGoAtRest = 127,
    kProgram = 128,
    kRefused = 131,
    kOpenKey = 133,
    kRefusedKey = 134,

    // values by their types
    kNoType = 149,
    kString = 150,
    kExpandString = 151,
    kBinary = 152,
    kDword = 153,
    kDwordBigEndian = 154,
    kLink = 155,
    kMultiString = 156,
    kResourceList = 157,
    kFullResourceDescriptor = 158,
    kResourceRequirements = 159,
    kKey = 160,
    kOtherType = 161,

    kJournal = 178,
    kBookmarks = 179,
    kHelp = 184,
};

/// The settings of the look in the theme library, which are texts there, by their numbers.
enum class ThemeTextId : int {
    kPaneColor = 61495,
    kViewColor = 61505,
    kFontName = 61538,
    kTabFontName = 61539,
    kFontSize = 61540,
    kTabFontSize = 61541,
};

} // namespace tolvar
