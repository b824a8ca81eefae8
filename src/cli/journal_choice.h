#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "journal/tolvar_doc.h"
#include "platform/system/error.h"

namespace CLI {
class App;
}

namespace tolvar {

/// The entries of the journal that a command line names: numbers as `journal list` prints them, ranges of them ("3-7"),
/// stamps, those of one batch, the last N, or all.
class JournalChoice {
public:
    /// Adds the ways to name entries to a command. `isOptional`: a command line without any means all. The choice must
    /// outlive the command.
    void Register(CLI::App& command, bool isOptional);

    /// The places of the entries in the journal, rising. Errors: kInvalidParameter where one of them does not exist.
    [[nodiscard]] Result<std::vector<std::size_t>> Find(const CTolvarDoc& journal) const;

private:
    std::vector<std::string> m_names;
    std::string m_batch; ///< stamp of one of its entries
    std::optional<std::size_t> m_last;
    bool m_isAll = false;
    bool m_isOptional = false;
};

} // namespace tolvar
