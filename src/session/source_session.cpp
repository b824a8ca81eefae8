#include "session/source_session.h"

#include <set>

#include <fmt/format.h>

#include "session/journal_source.h"

namespace tolvar {

SourceSession::SourceSession(SourceOptions options, Profile& profile)
    : m_options(std::move(options)), m_profile(profile), m_session(m_registry)
{}

std::vector<SourceProblem> SourceSession::Mount(SourceAccess access)
{
    const MountMode mode =
        m_options.isReadOnly || access == SourceAccess::kRead ? MountMode::kReadOnly : MountMode::kWritable;
    std::vector<SourceProblem> problems;
    std::set<std::filesystem::path> told; // its damage is what it was refused for
    const auto refuse = [&](Error error) {
        const bool isInUse = error.code == ErrorCode::kSharingViolation;
        m_isInUse = m_isInUse || isInUse;
        problems.push_back({SourceProblem::Kind::kRefused, std::move(error)});
        return isInUse;
    };
    if (m_options.hives.empty()) {
        if (Result<void> mounted = MountEmbedded(mode); !mounted) {
            refuse(std::move(mounted.error()));
        }
    }
    for (const std::string& argument : m_options.hives) {
        const MountRequest request = MountRequest::FromArgument(argument);
        Result<void> mounted = m_registry.Mount(request, mode);
        if (!mounted) {
            const bool isInUse = refuse(std::move(mounted.error()));
            told.insert(request.file);
            if (mode == MountMode::kReadOnly || access != SourceAccess::kWriteOrRead || isInUse) {
                continue;
            }
            mounted = m_registry.Mount(request, MountMode::kReadOnly);
        }
        if (mounted && m_firstMount.empty()) {
            m_firstMount = request.KeyPath();
        }
    }
    for (const MountNotice& notice : m_registry.Notices()) {
        if (!told.contains(notice.file)) {
            problems.push_back(
                {notice.isDamage ? SourceProblem::Kind::kDamaged : SourceProblem::Kind::kNotClosedCleanly,
                 notice.error});
        }
    }
    return problems;
}

Result<void> SourceSession::MountEmbedded(MountMode mode)
{
    if (!m_options.isReadOnly) {
        if (Result<void> made = MakeEmbeddedRegistry(m_options.embedded); !made) {
            return made;
        }
    }
    return MountEmbeddedRegistry(m_registry, m_options.embedded, mode);
}

CTolvarDoc& SourceSession::MakeDocument(JournalAccess access, std::string emptyNameLabel)
{
    JournalOptions options;
    options.keepDays = KeepDaysOf(m_profile);
    if (m_options.IsUsersEmbedded()) {
        options.place = EmbeddedJournalPlace(m_profile);
    }
    options.place.isBrief = access != JournalAccess::kWindow;
    options.place.isTrusting = access == JournalAccess::kChange;
    options.place.isReadOnly = m_options.isReadOnly || access == JournalAccess::kShow;
    options.expiry = access == JournalAccess::kWindow   ? JournalExpiry::kAtStart
                     : access == JournalAccess::kChange ? JournalExpiry::kOnceADay
                                                        : JournalExpiry::kNever;
    options.emptyNameLabel = std::move(emptyNameLabel);
    m_keepDays = options.keepDays;
    m_place = options.place;
    m_access = access;
    m_document = std::make_unique<CTolvarDoc>(std::move(options));
    return *m_document;
}

Result<std::vector<SourceProblem>> SourceSession::OpenDocument()
{
    auto opened = PlaceJournals();
    opened = opened ? m_document->OnNewDocument() : opened;
    if (!opened) {
        m_isInUse = m_isInUse || opened.error().code == ErrorCode::kSharingViolation;
        return tl::unexpected(std::move(opened.error()));
    }
    std::vector<SourceProblem> problems;
    const UndoReport& takenBack = m_document->TakenBack();
    if (takenBack.undone != 0) {
        problems.push_back({SourceProblem::Kind::kTakenBack,
                            {ErrorCode::kSuccess,
                             fmt::format("the last command did not finish: {} changes undone", takenBack.undone)}});
    }
    for (const Error& failure : takenBack.failures) {
        problems.push_back({SourceProblem::Kind::kNotTakenBack, failure});
    }
    for (const Error& notice : m_document->Notices()) {
        problems.push_back({SourceProblem::Kind::kJournal, notice});
    }
    return problems;
}

/// Finds the journals of hive files: one for each of them that is shown.
Result<void> SourceSession::PlaceJournals()
{
    if (m_options.IsUsersEmbedded()) {
        return {};
    }
    const bool mayBegin = m_access == JournalAccess::kChange || m_access == JournalAccess::kWindow;
    const JournalBeginning beginning = m_place.isReadOnly ? JournalBeginning::kNothing
                                       : mayBegin         ? JournalBeginning::kAllowed
                                                          : JournalBeginning::kForbidden;
    Result<std::vector<JournalPlace>> places = HiveJournalPlaces(m_registry, m_options.Mounts(), m_place, beginning);
    if (!places) {
        return tl::unexpected(places.error());
    }
    m_marked = m_place.isReadOnly ? std::vector<JournalPlace>() : *places;
    m_document->SetPlaces(*std::move(places));
    return {};
}

std::vector<Error> SourceSession::Close()
{
    std::vector<Error> failures;
    const auto note = [&failures](Result<void> result) {
        if (!result) {
            failures.push_back(std::move(result.error()));
        }
    };
    note(m_registry.Flush());
    if (m_document != nullptr) {
        note(KeepMarks(m_registry, m_marked));
        note(m_document->SaveModified());
        m_document.reset();
    }
    return failures;
}

} // namespace tolvar
