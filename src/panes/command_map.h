#pragma once

#include <algorithm>
#include <span>

#include "panes/command_ids.h"

namespace tolvar {

/// A command that a pane carries out, and the member that does it. A pane has a table of these, and offers exactly the
/// commands in it.
template <class Pane>
struct CommandEntry {
    CommandId command;
    void (Pane::*run)();
};

template <class Pane>
[[nodiscard]] bool HasCommand(std::span<const CommandEntry<Pane>> map, CommandId command)
{
    return std::ranges::find(map, command, &CommandEntry<Pane>::command) != map.end();
}

/// Carries the command out, and answers whether it is in the table.
template <class Pane>
bool RunCommand(Pane& pane, std::span<const CommandEntry<Pane>> map, CommandId command)
{
    const auto entry = std::ranges::find(map, command, &CommandEntry<Pane>::command);
    if (entry == map.end()) {
        return false;
    }
    (pane.*entry->run)();
    return true;
}

} // namespace tolvar
