#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "journal/pending_log.h"

namespace tolvar {

/// One entry that was undone, and can come back.
struct UndoneEntry {
    std::string record;
    std::size_t place = 0;        ///< it had in the journal
    std::vector<std::string> own; ///< records of what the undo overwrote, which stand in the journal in its place
};

/// The file "journal.redo": what undoing took out of the journal since the last change, in steps of what was undone
/// together. It is written in the entries of a PendingLog.
class RedoLog {
public:
    /// What one call undid, in the order in which it did.
    using Step = std::vector<UndoneEntry>;

    /// Reads the file, if there is one. `files` must outlive the log. Errors: the file system's.
    [[nodiscard]] static Result<RedoLog> Open(FileStore& files, std::filesystem::path file);

    /// The oldest first.
    [[nodiscard]] const std::vector<Step>& Steps() const noexcept { return m_steps; }

    /// Adds a step, durably. It must hold something.
    [[nodiscard]] Result<void> Push(Step step);

    /// Takes the last step out. A power cut may bring it back.
    void Pop();

    /// Removes the file.
    void Clear();

    /// Whether steps are missing that were in the file.
    [[nodiscard]] bool WasDamaged() const noexcept { return m_log.WasDamaged(); }

private:
    explicit RedoLog(PendingLog log);

    PendingLog m_log;
    std::vector<Step> m_steps;
};

} // namespace tolvar
