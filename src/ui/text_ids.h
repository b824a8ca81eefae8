#pragma once

namespace tolvar {

/// The texts of the language libraries (resources/lang), by their numbers: 59137 to 59139 and 61440 to 62463. The texts
/// of commands are not among these: they have the commands' own numbers.
enum class TextId : int {
    // what the status bar shows while a key is locked
    kCapsLock = 59137,
    kNumLock = 59138,
    kScrollLock = 59139,

    kOk = 61489,
    kCancel = 61490,
    kComputer = 61491,
    kHelp = 61494,
    kValueNotDeleted = 61496, ///< %1: its name
    kNameLabel = 61501,
    kData = 61502,
    kDecimal = 61503,
    kHexadecimal = 61504,
    kReplaceRowQuestion = 61506,
    kModified = 61508,
    kDeleted = 61509,
    kRenamed = 61510,
    kRegistryNotChanged = 61511,
    kType = 61513,
    kChange = 61514,
    kKeyOfChange = 61515,
    kUnknownChange = 61516,
    kName = 61517,
    kEmptyData = 61527,
    kDefaultName = 61528,
    kValueNotSet = 61529,
    kKeyNameTaken = 61531,
    kClipboardValueNotFound = 61535,
    kReplaceValueQuestion = 61536,
    kBookmarks = 61572,
    kSearchResults = 61573,
    kJournal = 61574,
    kImportQuestion = 61577, ///< %1: a file
    kNew = 61578,
    kImported = 61579,
    kNotImported = 61580,
    kFirstGroup = 61581,
    kTime = 61606,
    kLastChange = 61617,
    kDecimalTip = 61664,
    kHexadecimalTip = 61665,
    kUser = 61670,
    kNoClass = 61686,
    kSecondGroup = 61701,
    kUnknownTime = 61715,
    kVersion = 61716,
    kUnusualType = 61723,
    kLength = 61734,
    kOwner = 61785,

    // labels of a row's tip
    kTipKey = 61735,
    kTipClass = 61736,
    kTipSubkeys = 61737,
    kTipSubkeyNames = 61738,
    kTipValueNames = 61739,
    kTipValues = 61740,
    kTipLastChange = 61741,
    kTipUpToKey = 61775,
    kTipUpToRoots = 61776,
    kTipGroup = 61786,

    // names for those who can't see the window
    kKeyTreeName = 62000,
    kValueListName = 62001,
    kPathLabelName = 62002,
    kAddressBarName = 62005,
    kToolBarName = 62006,
    kAddressFieldName = 62007,
    kLeftTabsName = 62010,
    kDownTabsName = 62011,
    kMainMenuName = 62012,
    kJournalListName = 62044,

    kOpenProblemTitle = 62003,
    kGo = 62008,
    kNoBookmarks = 62020,
    kNoSearchResults = 62021,
    kNoChanges = 62022,
    kNoTopics = 62023,
    kHelpPage = 62024,
    kSearch = 62025,
    kEscapeHint = 62029,
    kOpenFilter = 62030,
    kOpenTitle = 62031,
    kCanNotOpen = 62032, ///< %1: a file
    kUndoAllQuestion = 62040,
    kRemoveAllQuestion = 62041,
    kChangesNotUndone = 62043, ///< %1: how many
    kChangeTitle = 62045,
    kUndoLaterQuestion = 62046,   ///< %1: how many, %2: the first of them, a line each
    kUndoChangedQuestion = 62047, ///< the same
    kAndMore = 62048,             ///< %1: how many
    kStoredBytesNote = 62050,

    // the hex control
    kHexName = 62200,
    kHexCaret = 62201,     ///< %1 to %3: offset, byte, character
    kHexSelection = 62202, ///< %1 to %3: first, last, number of bytes
    kHexNoBytes = 62203,
    kHexUndo = 62210,
    kHexRedo = 62211,
    kHexCut = 62212,
    kHexCopy = 62213,
    kHexPaste = 62214,
    kHexDelete = 62215,
    kHexSelectAll = 62216,
    kHexFind = 62217,
    kHexFindNext = 62218,
    kHexFindPrevious = 62219,
    kHexSwitchColumn = 62220,
    kHexToStart = 62221,
    kHexToEnd = 62222,
    kHex8Bit = 62230,
    kHex16Bit = 62231,
    kHex32Bit = 62232,
    kHex64Bit = 62233,
    kHexTime = 62234,
    kHexGuid = 62235,
    kHexWideText = 62236,
    kHexPattern = 62240,
    kHexFindHex = 62241,
    kHexFindText = 62242,
    kHexFindWideText = 62243,
    kHexMatchCase = 62244,
    kHexCloseFind = 62245,
    kHexBadPattern = 62246,
    kHexNotFound = 62247,
    kHexWrappedToStart = 62248,
    kHexWrappedToEnd = 62249,
};

} // namespace tolvar
