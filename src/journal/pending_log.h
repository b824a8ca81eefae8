#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/file_store.h"

namespace tolvar {

/// The file "journal.pending": what happened to the journal since `index` was written, so that a crash loses nothing.
///
/// It begins with eight bytes, and goes on with entries, each of which tells how much of the file was on the medium
/// before it was written. That tells damage from an append that a crash cut short, of which some blocks may have been
/// written and others not: what lies behind a bad stretch is read if one entry there knows the stretch as durable, and
/// never was otherwise.
class PendingLog {
public:
    enum class Event : char {
        kBegun = 'b',   ///< the change of this record is about to be made
        kMade = 'm',    ///< it was made, and is durable
        kDropped = 'd', ///< the record is gone: undone, removed, expired, or its change failed
        kMember = 'B',  ///< the change of this record is about to be made in memory, as one of a group
        kGroupBegun =
            'G',          ///< the members from this record on, with their backups, are durable: they are about to be so
        kGroupMade = 'M', ///< the members from this record on are durable
        // Of a RedoLog alone, with texts of its own:
        kUndoneFirst = 'U', ///< the first entry that one call undid
        kUndone = 'u',      ///< a further one
        kUndoneOwn = 'o',   ///< a record of what undoing the entry in front of it overwrote
        kRedone = 'r',      ///< the last call's entries are back
        kLost = '?',        ///< never written: here entries were damaged
    };
    struct Entry {
        Event event;
        std::string record;
    };

    struct Contents {
        std::vector<Entry> entries; ///< with kLost where some were damaged
        std::size_t end = 0;        ///< where the next entry belongs
        std::size_t durable = 0;    ///< so many bytes are known to be on the medium
    };

    /// Reads any bytes, those of the form without `durable` too.
    [[nodiscard]] static Contents Parse(std::span<const std::byte> bytes);

    /// Takes over what the file holds, if there is one; nothing is made yet. `files` must outlive the log.
    [[nodiscard]] static Result<PendingLog> Open(FileStore& files, std::filesystem::path file);

    [[nodiscard]] const std::vector<Entry>& Entries() const noexcept { return m_entries; }
    void ForgetEntries() { m_entries = {}; }
    [[nodiscard]] bool WasDamaged() const noexcept { return m_wasDamaged; }
    [[nodiscard]] const std::filesystem::path& Path() const noexcept { return m_path; }

    /// Adds an entry; the file is made with the first one. On success it is durable, with all before it.
    /// An error leaves the log as it was.
    [[nodiscard]] Result<void> Append(Event event, std::string_view record);

    /// Adds an entry that may be lost in a power cut, or reach the medium with the next one that is not.
    [[nodiscard]] Result<void> AppendLater(Event event, std::string_view record);

    /// The same where a failure is no more than such a loss.
    void Note(Event event, std::string_view record) { static_cast<void>(AppendLater(event, record)); }

    /// Adds many entries at once, durably together.
    [[nodiscard]] Result<void> AppendEntries(const std::vector<Entry>& entries);
    [[nodiscard]] Result<void> AppendAll(Event event, const std::vector<std::string>& records);

    /// In bytes.
    [[nodiscard]] std::uint64_t Size() const noexcept { return m_end; }

    /// Removes the file: `index` holds it all.
    [[nodiscard]] Result<void> Remove();

private:
    PendingLog(FileStore& files, std::filesystem::path file) : m_files(&files), m_path(std::move(file)) {}
    [[nodiscard]] Result<void> Write(std::string_view bytes);
    [[nodiscard]] Result<void> OpenFile();
    [[nodiscard]] Result<void> CutOff();

    FileStore* m_files;
    std::filesystem::path m_path;
    std::unique_ptr<StoredFile> m_file; ///< null until something is written
    std::uint64_t m_end = 0;
    std::uint64_t m_durable = 0;
    bool m_mustCut = false; ///< the file may hold something behind its end
    bool m_wasDamaged = false;
    std::vector<Entry> m_entries; ///< as Open found them
};

/// What the entries come to for one record that was begun.
struct PendingRecord {
    enum class State {
        kOpen,    ///< nobody knows whether its change was made
        kMade,    ///< it was made
        kNotMade, ///< it belongs to a group that never got as far as the medium
        kCut,     ///< it belongs to a group of which some hives may have got their changes, and others not
        kGone,    ///< it was dropped
    };
    std::string record;
    State state;
};

/// The records that `entries` tell of, in the order in which they were begun. The same text may come again after it was
/// dropped, where the clock was set back. What is open where entries were lost counts as made, for a later change was
/// begun since: to look for it in the registry, or to take it back, could hit that one.
[[nodiscard]] std::vector<PendingRecord> ReplayPending(const std::vector<PendingLog::Entry>& entries);

} // namespace tolvar
