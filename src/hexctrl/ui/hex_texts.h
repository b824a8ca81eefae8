#pragma once

#include <array>

#include <QString>

#include "hexctrl/hex_inspect.h"

namespace tolvar {

/// What HexEditor can be told to do. Each is an action with the key that users expect.
enum class HexCommand {
    kUndo,
    kRedo,
    kCut,
    kCopy,
    kPaste,
    kDelete,
    kSelectAll,
    kFind,
    kFindNext,
    kFindPrevious,
    kSwitchColumn,
    kToStart,
    kToEnd,
    kCount
};

/// Every text of the hex control and its companions that a user sees, in the user's language.
struct HexTexts {
    QString controlName; ///< of the control, for those who can't see it
    QString caretAt;     ///< its value: %1 address, %2 byte, %3 character
    QString selected;    ///< the same with a selection: %1 and %2 addresses, %3 number of bytes
    QString emptyData;

    std::array<QString, static_cast<std::size_t>(HexCommand::kCount)> commands;
    std::array<QString, static_cast<std::size_t>(HexReading::kCount)> readings;

    QString findPattern; ///< what the field is for
    QString findHex;
    QString findText;
    QString findWideText;
    QString matchCase;
    QString closeFind;
    QString badHex; ///< the pattern isn't pairs of hexadecimal digits
    QString notFound;
    QString wrappedToStart;
    QString wrappedToEnd;
};

} // namespace tolvar
