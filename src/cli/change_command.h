#pragma once

#include <string>

#include "cli/command.h"
#include "journal/tolvar_doc.h"

namespace tolvar {

/// A command that changes keys or values, through the journal.
class ChangeCommand : public Command {
public:
    [[nodiscard]] bool IsWriting() const override { return true; }
    [[nodiscard]] std::optional<JournalAccess> UsesJournal() const override { return JournalAccess::kChange; }

    void Run(CommandContext& context) final;

protected:
    /// With a journal at hand, and `m_path` without a backslash at its end.
    virtual void Change(CommandContext& context) = 0;

    /// Makes a change, or reports why not.
    static bool Apply(CommandContext& context, const ChangeRecord& change);

    std::string m_path;
};

} // namespace tolvar
