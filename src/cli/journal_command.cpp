#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/journal_choice.h"
#include "cli/journal_listing.h"
#include "cli/json_text.h"
#include "platform/registry/caller_data.h"
#include "platform/system/text.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

/// By JournalOperation.
constexpr const char* kOperations[] = {"delete", "rename", "modify", "new", "group", "group", "other"};
static_assert(std::size(kOperations) == static_cast<std::size_t>(JournalOperation::kCount));

const char* OperationName(const JournalRecord& record)
{
    return kOperations[static_cast<std::size_t>(OperationOf(record))];
}

/// "2004-03-23 21:28:00", local time as the stamp has it; a text that is no stamp as it is.
std::string TimeText(const std::string& stamp)
{
    if (!IsStamp(stamp)) {
        return stamp;
    }
    const auto part = [&stamp](std::size_t at, std::size_t size) { return stamp.substr(at, size); };
    return fmt::format("{}-{}-{} {}:{}:{}", part(0, 4), part(4, 2), part(6, 2), part(8, 2), part(10, 2), part(12, 2));
}

/// Stored text as the text form takes it.
std::vector<BYTE> Utf8From(std::span<const BYTE> stored)
{
    std::u16string units;
    for (std::size_t i = 0; i + 1 < stored.size(); i += 2) {
        units.push_back(static_cast<char16_t>(stored[i] | stored[i + 1] << 8U));
    }
    const std::string text = ToUtf8(units, NulForm::kPlain);
    return {text.begin(), text.end()};
}

/// The data of a value on one line, cut where it is long.
std::string DataText(const EntryData& data)
{
    constexpr std::size_t kMaxText = 60; // bytes
    std::string text =
        ValueToText(data.type, IsTextType(data.type) ? Utf8From(data.bytes) : data.bytes, ExpandStrings::kNo);
    const bool isCut = text.size() > kMaxText || data.bytes.size() < data.size;
    if (isCut) {
        text.resize(WholeCharacters(std::string_view(text).substr(0, kMaxText)));
    }
    return fmt::format("{} \"{}\"{}", ValueTypeName(data.type), text,
                       isCut ? fmt::format("... ({} bytes)", data.size) : "");
}

std::string PlainLine(const EntryLine& line)
{
    const JournalRecord& record = line.record;
    const bool isKey = record.object == static_cast<int>(ChangeObject::kKey);
    const bool isNew = record.kind == static_cast<int>(ChangeKind::kNew);
    std::string text = fmt::format("{:>4}  {}  {}  {:<6} {:<5}  {}", line.number, TimeText(record.stamp), record.user,
                                   OperationName(record), isKey ? "key" : "value", record.path);
    if (isKey) {
        text += isNew ? "  " + record.secondPath : "";
    } else {
        const std::string& name = isNew ? record.newName : record.name;
        text += "  " + (name.empty() ? "(Default)" : name);
    }
    if (record.kind == static_cast<int>(ChangeKind::kRename)) {
        text += " -> " + (isKey ? record.secondPath : record.newName);
    } else if (line.before || line.after) {
        text += ": " + (line.before ? DataText(*line.before) : "");
        text += line.after ? (line.before ? " -> " : "") + DataText(*line.after) : "";
    }
    std::string visible; // a name must not begin a line of its own, wherever the list goes
    AppendVisible(visible, text);
    return visible + "\n";
}

std::string JsonData(const char* name, const std::optional<EntryData>& data)
{
    if (!data) {
        return fmt::format(R"(,"{}":null)", name);
    }
    std::string text = fmt::format(R"(,"{}":{{"type":{},"size":{})", name, data->type, data->size);
    if (data->bytes.size() == data->size) {
        text += R"(,"data":")";
        AppendHex(text, std::as_bytes(std::span(data->bytes)));
        text += '"';
    }
    return text + "}";
}

std::string JsonLine(const EntryLine& line)
{
    const JournalRecord& record = line.record;
    return fmt::format(R"({{"entry":{},"operation":"{}","object":"{}","path":{},"second":{},"type":{},"name":{},)"
                       R"("newName":{},"user":{},"stamp":{}{}{}}})"
                       "\n",
                       line.number, OperationName(record), record.object == 0 ? "key" : "value",
                       JsonString(record.path), JsonString(record.secondPath), static_cast<DWORD>(record.type),
                       JsonString(record.name), JsonString(record.newName), JsonString(record.user),
                       JsonString(record.stamp), JsonData("before", line.before), JsonData("after", line.after));
}

class JournalCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app =
            program.add_subcommand("journal", "Show the journal of changes, undo them in any order, or drop them");
        app->require_subcommand(1);
        m_list = app->add_subcommand("list", "Print entries, the oldest first, each with its number; all by default");
        m_undo = app->add_subcommand("undo", "Undo entries, the newest first, and drop them; those that later changes "
                                             "stand on are refused");
        m_redo = app->add_subcommand("redo", "Do again what the last undo took back, with its entries; until the next "
                                             "change");
        m_remove = app->add_subcommand("remove", "Drop entries with their backups, and leave the registry alone");
        m_expire = app->add_subcommand("expire", "Drop entries and backups that are too old");
        m_listed.Register(*m_list, true);
        m_undone.Register(*m_undo, false);
        m_undo->add_flag("--force", m_isForced,
                         "Go on over later changes, which get entries of their own, and take the "
                         "text backup where a snapshot is damaged");
        m_removed.Register(*m_remove, false);
        m_expire->add_option("--keep", m_keepDays, "Keep what is this many days old")->check(CLI::Range(0, 36500));
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return m_undo->parsed() || m_redo->parsed(); }
    [[nodiscard]] std::optional<JournalAccess> UsesJournal() const override
    {
        return m_list->parsed() ? JournalAccess::kShow : JournalAccess::kEdit;
    }

    void Run(CommandContext& context) override
    {
        if (context.journal == nullptr) {
            context.Report({ErrorCode::kWriteProtect, "the journal"});
            return;
        }
        if (m_expire->parsed()) {
            const int keep = m_keepDays.value_or(context.keepDays);
            if (const Result<std::size_t> expired = context.journal->ExpireBackups(keep); !expired) {
                context.Report(expired.error());
            }
            return;
        }
        if (m_redo->parsed()) {
            if (const Result<std::size_t> redone = context.journal->Redo(); !redone) {
                context.Report(redone.error());
            }
            return;
        }
        const JournalChoice& choice = m_list->parsed() ? m_listed : m_undo->parsed() ? m_undone : m_removed;
        const Result<std::vector<std::size_t>> entries = choice.Find(*context.journal);
        if (!entries) { // before anything is done to any of them
            context.ReportWrongUsage(entries.error());
        } else if (m_list->parsed()) {
            List(context, *entries);
        } else if (m_undo->parsed()) {
            Undo(context, *entries);
        } else if (const Result<void> removed = context.journal->RemoveEntries(*entries); !removed) {
            context.Report(removed.error());
        }
    }

private:
    void Undo(CommandContext& context, const std::vector<std::size_t>& entries) const
    {
        const UndoReport report = context.journal->UndoEntries(entries, m_isForced ? UndoForce::kYes : UndoForce::kNo);
        for (const Error& error : report.failures) {
            context.Report(error);
        }
        if (std::ranges::find(report.failures, ErrorCode::kBusy, &Error::code) != report.failures.end()) {
            context.Tell("Undo the later ones first or with them, or go on with --force: what that overwrites gets an "
                         "entry of its own.");
        }
    }

    static void List(CommandContext& context, const std::vector<std::size_t>& entries)
    {
        for (const EntryLine& line : JournalListing(*context.journal, context.registry).Lines(entries)) {
            context.out.Write(context.json ? JsonLine(line) : PlainLine(line));
        }
    }

    CLI::App* m_list = nullptr;
    CLI::App* m_undo = nullptr;
    CLI::App* m_redo = nullptr;
    CLI::App* m_remove = nullptr;
    CLI::App* m_expire = nullptr;
    JournalChoice m_listed;
    JournalChoice m_undone;
    JournalChoice m_removed;
    std::optional<int> m_keepDays;
    bool m_isForced = false;
};

} // namespace

std::unique_ptr<Command> MakeJournalCommand()
{
    return std::make_unique<JournalCommand>();
}

} // namespace tolvar
