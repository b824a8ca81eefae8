#pragma once

#include <vector>

#include "journal/tolvar_doc.h"

namespace tolvar {

/// Whoever has entries undone and can be asked about them. What is handed out are places in the journal as it is then,
/// rising.
class UndoAsker {
public:
    virtual ~UndoAsker() = default;

    /// Has the document undo them, with whatever belongs around that.
    [[nodiscard]] virtual UndoReport Undo(std::vector<std::size_t> entries, UndoForce force) = 0;

    /// Whether these later entries, which stand on what is to be undone, are to be undone first.
    [[nodiscard]] virtual bool WantsLater(const std::vector<std::size_t>& later) = 0;

    /// Whether these are to be undone although what they left was changed outside the journal.
    [[nodiscard]] virtual bool WantsAllTheSame(const std::vector<std::size_t>& changed) = 0;
};

/// Undoes entries, and asks about those that are refused for the sake of later work: each question once at most, for
/// all of them together. What was asked about and not wanted is no failure. Each call of Undo can be redone by itself.
[[nodiscard]] UndoReport UndoAsking(const CTolvarDoc& document, std::vector<std::size_t> indices, UndoAsker& asker);

} // namespace tolvar
