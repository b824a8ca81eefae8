#include <algorithm>
#include <numeric>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "journal/journal_record.h"
#include "journal/tolvar_doc.h"

namespace tolvar {

namespace {

/// By JournalOperation.
constexpr const char* kOperations[] = {"delete", "rename", "modify", "new", "group", "group", "other"};
static_assert(std::size(kOperations) == static_cast<std::size_t>(JournalOperation::kCount));

const char* OperationName(const JournalRecord& record)
{
    return kOperations[static_cast<std::size_t>(OperationOf(record))];
}

class JournalCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app =
            program.add_subcommand("journal", "Show the journal of changes, undo them in any order, or drop them");
        app->require_subcommand(1);
        m_list = app->add_subcommand("list", "Print the entries, the oldest first, each with its number");
        m_undo = app->add_subcommand("undo", "Undo entries, the newest first, and drop them");
        m_remove = app->add_subcommand("remove", "Drop entries with their backups, and leave the registry alone");
        m_expire = app->add_subcommand("expire", "Drop entries and backups that are too old");
        for (CLI::App* sub : {m_undo, m_remove}) {
            CLI::Option* numbers = sub->add_option("N", m_entries, "Numbers of the entries, as list prints them");
            sub->add_flag("--all", m_isAll, "All entries")->excludes(numbers);
        }
        m_expire->add_option("--keep", m_keepDays, "Keep what is this many days old")->check(CLI::Range(0, 36500));
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return m_undo->parsed(); }
    [[nodiscard]] JournalUse UsesJournal() const override
    {
        return m_list->parsed() ? JournalUse::kShow : JournalUse::kChange;
    }

    void Run(CommandContext& context) override
    {
        if (context.journal == nullptr) {
            context.Report({ErrorCode::kWriteProtect, "the journal"});
            return;
        }
        if (m_isAll) {
            m_entries.resize(context.journal->Journal().size());
            std::iota(m_entries.begin(), m_entries.end(), std::size_t{0});
        }
        for (const std::size_t entry : m_entries) { // before anything is done to any of them
            if (entry >= context.journal->Journal().size()) {
                context.Report({ErrorCode::kInvalidParameter, fmt::format("the journal has no entry {}", entry)});
                return;
            }
        }
        if (m_list->parsed()) {
            List(context);
        } else if (m_undo->parsed()) {
            for (const Error& error : context.journal->UndoEntries(m_entries).failures) {
                context.Report(error);
            }
        } else if (m_remove->parsed()) {
            Report(context, context.journal->RemoveEntries(m_entries));
        } else {
            const int keep = m_keepDays.value_or(context.keepDays);
            const Result<std::size_t> expired = context.journal->ExpireBackups(keep);
            Report(context, expired ? Result<void>() : tl::unexpected(expired.error()));
        }
    }

private:
    static void Report(CommandContext& context, const Result<void>& result)
    {
        if (!result) {
            context.Report(result.error());
        }
    }

    static void List(CommandContext& context)
    {
        std::size_t number = 0;
        for (const std::string& text : context.journal->Journal()) {
            const JournalRecord record = ParseRecord(text);
            context.out.Write(context.json ? JsonLine(number, record) : std::string());
            if (!context.json) {
                PrintLine(context, number, record, RowOf(text, "(Default)"));
            }
            ++number;
        }
    }

    static void PrintLine(CommandContext& context, std::size_t number, const JournalRecord& record,
                          const JournalRow& row)
    {
        context.out.Write(fmt::format("{:>4}  {}  ", number, row.date));
        context.out.WriteName(row.user);
        context.out.Write(fmt::format("  {:<6} {:<5}  ", OperationName(record), record.object == 0 ? "key" : "value"));
        context.out.WriteName(row.path);
        const bool isKeyItself = record.object == 0 && record.kind != static_cast<int>(ChangeKind::kNew);
        if (!isKeyItself) {
            context.out.Write("  ");
            context.out.WriteName(row.what);
        }
        const bool isRename = record.kind == static_cast<int>(ChangeKind::kRename);
        if (isRename) {
            context.out.Write(" -> ");
            context.out.WriteName(record.object == 0 ? record.secondPath : record.newName);
        }
        context.out.Write("\n");
    }

    static std::string JsonLine(std::size_t number, const JournalRecord& record)
    {
        return fmt::format(R"({{"entry":{},"operation":"{}","object":"{}","path":{},"second":{},"type":{},"name":{},)"
                           R"("newName":{},"user":{},"stamp":{}}})"
                           "\n",
                           number, OperationName(record), record.object == 0 ? "key" : "value", JsonString(record.path),
                           JsonString(record.secondPath), static_cast<DWORD>(record.type), JsonString(record.name),
                           JsonString(record.newName), JsonString(record.user), JsonString(record.stamp));
    }

    CLI::App* m_list = nullptr;
    CLI::App* m_undo = nullptr;
    CLI::App* m_remove = nullptr;
    CLI::App* m_expire = nullptr;
    std::vector<std::size_t> m_entries;
    std::optional<int> m_keepDays;
    bool m_isAll = false;
};

} // namespace

std::unique_ptr<Command> MakeJournalCommand()
{
    return std::make_unique<JournalCommand>();
}

} // namespace tolvar
