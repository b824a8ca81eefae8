#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "platform/hive/writable_hive.h"

namespace tolvar {

namespace {

class RecoverCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("recover", "Apply a hive's transaction logs to it for good");
        app->add_option("FILE", m_file, "The hive file; its logs lie beside it")->required();
        return app;
    }

    [[nodiscard]] bool UsesRegistry() const override { return false; }

    void Run(CommandContext& context) override
    {
        const auto hive = WritableHive::Open(SystemFiles(), m_file, SystemClock());
        if (!hive) {
            context.isInUse = hive.error().code == ErrorCode::kSharingViolation;
            context.Report(hive.error());
            return;
        }
        const RecoveryReport& report = (*hive)->Recovery();
        if (context.json) {
            PrintJson(context, report);
        } else if (report.DidAnything()) {
            Print(context, report);
        } else if ((*hive)->Reader().NeedsRecovery()) {
            context.Report({ErrorCode::kFileNotFound, m_file + ": not closed cleanly, and no transaction log fits it"});
        } else {
            context.out.Write("The hive was closed cleanly: there is nothing to recover.\n");
        }
    }

private:
    static std::uint64_t BytesOf(const RecoveryReport& report)
    {
        std::uint64_t bytes = 0;
        for (const ChangedRun& run : report.runs) {
            bytes += run.size;
        }
        return bytes;
    }

    static void Print(CommandContext& context, const RecoveryReport& report)
    {
        for (const std::filesystem::path& log : report.logs) {
            context.out.WriteName("Applied " + log.string());
            context.out.Write("\n");
        }
        context.out.Write(fmt::format(
            "{} set(s) of changes, {} bytes; sequence number {}{}\n", report.entries, BytesOf(report), report.sequence,
            report.isBaseFromLog ? "; the base block was broken and comes from the log" : ""));
    }

    static void PrintJson(CommandContext& context, const RecoveryReport& report)
    {
        context.out.Write(R"({"logs":[)");
        for (std::size_t i = 0; i < report.logs.size(); ++i) {
            context.out.Write((i == 0 ? "" : ",") + JsonString(report.logs[i].string()));
        }
        context.out.Write(fmt::format("],\"entries\":{},\"bytes\":{},\"sequence\":{},\"baseFromLog\":{}}}\n",
                                      report.entries, BytesOf(report), report.sequence, report.isBaseFromLog));
    }

    std::string m_file;
};

} // namespace

std::unique_ptr<Command> MakeRecoverCommand()
{
    return std::make_unique<RecoverCommand>();
}

} // namespace tolvar
