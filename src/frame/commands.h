#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "panes/pane.h"

namespace tolvar {

/// Who carries a command out.
enum class Receiver : std::uint8_t { kNobody, kLeftView, kRightView, kLowerView, kFrame, kApplication };

/// When a receiver lets a command through.
enum class UpdateRule : std::uint8_t {
    kNoRoute, ///< the receiver does not know the command
    kAlways,
    kKeySelected,       ///< the tree's selection is not the tree root
    kKeySelectedOnNT,   ///< the same, and the platform has owners and permissions
    kBelowRootSelected, ///< the selection is neither the tree root nor a root key
    kCutMarked,         ///< Cut has marked a key at some time
    kKeyRow,            ///< the list's row is a subkey or a root
    kKeyRowOnNT,
    kOnNT,
    kBookmarksShown,
    kResultsShown,
    kJournalShown,
};

/// What the update rules look at: what the panes tell, and what the window knows itself.
struct CommandFacts : PaneFacts {
    Receiver focus = Receiver::kLeftView; ///< the view that has the focus, or had it last
    bool isNT = true;
    bool hasAddressBar = true;
    bool hasToolBar = true;
    int output = 0; ///< 0: the lower pane is closed; else the number of its page, from 1
};

struct CommandState {
    Receiver receiver = Receiver::kNobody;
    bool isEnabled = false;
    std::optional<bool> isChecked; ///< nothing for a command that has no check mark
};

/// All commands, in the order of their numbers.
[[nodiscard]] std::span<const CommandId> AllCommands();

/// Where a command goes, and whether its rule lets it. A command goes to the view that has the focus; one that only a
/// single view knows reaches that view from anywhere; then come the frame and the application.
[[nodiscard]] CommandState StateOf(CommandId command, const CommandFacts& facts);

/// The output number that a command shows or hides; 0 for a command that does nothing of the kind.
[[nodiscard]] int OutputOf(CommandId command);

} // namespace tolvar
