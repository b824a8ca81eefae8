#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "journal/journal_record.h"
#include "journal/tolvar_doc.h"
#include "platform/registry/registry.h"

namespace tolvar {

/// The data of a value before or after a change.
struct EntryData {
    static constexpr std::size_t kMaxHeld = 1024; ///< bytes

    DWORD type = 0;
    std::size_t size = 0;    ///< bytes
    std::vector<BYTE> bytes; ///< all of them, or the first kMaxHeld
};

/// What `journal list` tells of an entry.
struct EntryLine {
    std::size_t number = 0;
    JournalRecord record; ///< names and paths as the change's seal has them, where there is one
    std::optional<EntryData> before;
    std::optional<EntryData> after;
};

/// Works out what the entries of a journal did to the data of values. What an entry overwrote lies in its snapshot;
/// what it wrote is what the next change of that value overwrote, or, where there is none, what the registry holds.
/// Keys that came, went or got another name break that chain: then nothing is told.
class JournalListing {
public:
    /// Both must outlive the listing.
    JournalListing(const CTolvarDoc& journal, const Registry& registry) : m_journal(journal), m_registry(registry) {}

    /// The lines of the entries at `places`, which rise. Cost: a look at the snapshots of these and of all later
    /// entries.
    [[nodiscard]] std::vector<EntryLine> Lines(const std::vector<std::size_t>& places);

private:
    using Known = std::optional<EntryData>; ///< nothing: no such value

    [[nodiscard]] EntryLine GoBackOver(std::size_t number);
    void GoBackOverKey(const EntryLine& line);
    void GoBackOverValue(EntryLine& line, const ChangeSnapshot* snapshot);
    [[nodiscard]] const std::string& PlaceOf(const std::string& path);
    [[nodiscard]] std::optional<Known> After(const std::string& path, const std::string& name);
    void Cut(const std::string& path);

    const CTolvarDoc& m_journal;
    const Registry& m_registry;
    std::map<std::string, std::string> m_places;                  ///< of paths: one of all that a key has
    std::map<std::string, std::map<std::string, Known>> m_values; ///< by place and name, as of the last look back
    std::set<std::string, std::less<>> m_cut;                     ///< places at and below which nothing is known
};

} // namespace tolvar
