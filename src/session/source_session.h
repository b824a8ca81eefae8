#pragma once

#include <memory>
#include <string>
#include <vector>

#include "journal/tolvar_doc.h"
#include "platform/registry/registry.h"
#include "platform/system/profile.h"
#include "session/source_options.h"

namespace tolvar {

/// How the hives of a source are opened.
enum class SourceAccess {
    kRead,        ///< nothing is written and nothing locked
    kWrite,       ///< a hive that can't be written is left out
    kWriteOrRead, ///< a hive that can't be written is opened for reading, unless another program is writing it
};

/// What a session does with the journal of its source.
enum class JournalAccess {
    kShow,   ///< it is read; nothing is written and nothing locked
    kEdit,   ///< entries that somebody has just seen are undone or dropped: none goes by itself before
    kChange, ///< changes are made; what is too old goes at the first session of a day
    kWindow, ///< changes are made; what is too old goes at the start
};

/// Something that a person should be told of a source.
struct SourceProblem {
    enum class Kind {
        kRefused,          ///< a hive is not there, or only for reading
        kDamaged,          ///< part of a hive is missing or unreadable
        kNotClosedCleanly, ///< a hive's last changes came from its logs, or may be missing; `error` has no code
        kTakenBack,        ///< changes of one command that a crash cut were undone; `error` has no code
        kJournal,          ///< the journal's files; something may be lost where `error` has a code
        kNotTakenBack,     ///< such a change could not be undone, and has its entry in the journal
    };
    Kind kind;
    Error error;
};

/// One session of a program: the source that its options name, opened, with the source's journal. The registry is the
/// one that winreg.h works on as long as this object lives. For one thread; one at a time.
class SourceSession {
public:
    /// Opens nothing yet. `profile` must outlive the session.
    SourceSession(SourceOptions options, Profile& profile);

    /// Mounts what the options name; the embedded registry is made first where that is allowed. `options.isReadOnly`
    /// goes before `access`. One hive that can't be had doesn't keep the others out. Once.
    [[nodiscard]] std::vector<SourceProblem> Mount(SourceAccess access);

    /// Makes the document of the source's journal. Nothing is read before OpenDocument, so that a window can be built
    /// around it first. `options.isReadOnly` goes before `access`. `emptyNameLabel`: see JournalOptions. Once.
    CTolvarDoc& MakeDocument(JournalAccess access, std::string emptyNameLabel = {});

    /// Reads the journal, after Mount: see CTolvarDoc::OnNewDocument. What that settled of a crash is in the answer.
    [[nodiscard]] Result<std::vector<SourceProblem>> OpenDocument();

    /// Makes every change durable and closes the document. What failed, in that order; a document that could not be
    /// closed is taken over by the next start.
    std::vector<Error> Close();

    [[nodiscard]] Registry& OpenRegistry() noexcept { return m_registry; }
    [[nodiscard]] const SourceOptions& Options() const noexcept { return m_options; }

    /// The document between MakeDocument and Close; null otherwise.
    [[nodiscard]] CTolvarDoc* Document() const noexcept { return m_document.get(); }

    /// For how many days the journal keeps its records. After MakeDocument.
    [[nodiscard]] int KeepDays() const noexcept { return m_keepDays; }

    /// Whether another program has a hive or the journal.
    [[nodiscard]] bool IsInUse() const noexcept { return m_isInUse; }

    /// Full path of the key that the first of the hives is shown at; empty for the embedded registry.
    [[nodiscard]] const std::string& FirstMount() const noexcept { return m_firstMount; }

private:
    [[nodiscard]] Result<void> MountEmbedded(MountMode mode);
    [[nodiscard]] Result<void> PlaceJournals();

    SourceOptions m_options;
    Profile& m_profile;
    Registry m_registry;
    Session m_session;
    std::unique_ptr<CTolvarDoc> m_document;
    JournalPlace m_place; ///< the embedded registry's; what those of hive files have in common
    JournalAccess m_access = JournalAccess::kShow;
    std::vector<JournalPlace> m_marked; ///< journals whose hives are to be known again
    std::string m_firstMount;
    int m_keepDays = 0;
    bool m_isInUse = false;
};

} // namespace tolvar
