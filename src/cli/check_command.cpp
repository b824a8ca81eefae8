#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "platform/hive/hive_recovery.h"
#include "platform/hive/hive_validator.h"

namespace tolvar {

namespace {

constexpr const char* NameOf(Severity severity)
{
    return severity == Severity::kError ? "error" : "warning";
}

class CheckCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand(
            "check", "Check a hive file, as it would be opened, against its format, and change nothing");
        app->add_option("FILE", m_file, "The hive file")->required();
        return app;
    }

    [[nodiscard]] bool UsesRegistry() const override { return false; }

    void Run(CommandContext& context) override
    {
        RecoveryReport recovery;
        const Result<Hive> hive = OpenForReading(SystemFiles(), m_file, LogFailure::kReport, recovery);
        if (!hive) {
            context.Report(hive.error());
            return;
        }
        if (const std::string notice = RecoveryNotice(*hive, recovery, true); !notice.empty()) {
            PrintNotice(context, recovery, notice);
        }
        const ValidationSummary summary =
            ValidateHive(*hive, [&context](const Finding& finding) { Print(context, finding); });
        context.hasFailed = context.hasFailed || summary.errors != 0;
        PrintSummary(context, summary);
    }

private:
    static void PrintNotice(CommandContext& context, const RecoveryReport& recovery, std::string_view notice)
    {
        if (context.json) {
            context.out.Write(
                fmt::format("{{\"recoveredSets\":{},\"meaning\":{}}}\n", recovery.entries, JsonString(notice)));
            return;
        }
        AppendVisible(context.out.Buffer(), notice);
        context.out.Write("\n");
    }

    static void Print(CommandContext& context, const Finding& finding)
    {
        if (context.json) {
            context.out.Write(fmt::format(R"({{"severity":"{}","offset":{},"meaning":{}}})"
                                          "\n",
                                          NameOf(finding.severity), finding.filePosition, JsonString(finding.meaning)));
            return;
        }
        context.out.Write(fmt::format("{:#010x} {}: ", finding.filePosition, NameOf(finding.severity)));
        AppendVisible(context.out.Buffer(), finding.meaning); // one finding, one line, whatever a key is named
        context.out.Write("\n");
    }

    static void PrintSummary(CommandContext& context, const ValidationSummary& s)
    {
        if (context.json) {
            context.out.Write(fmt::format(
                R"({{"errors":{},"warnings":{},"bins":{},"cells":{},"freeBytes":{},"keys":{},)"
                R"("values":{},"dataBytes":{},"securityRecords":{}}})"
                "\n",
                s.errors, s.warnings, s.bins, s.cells, s.freeBytes, s.keys, s.values, s.dataBytes, s.securityRecords));
            return;
        }
        context.out.Write(fmt::format("{} errors, {} warnings; {} keys, {} values with {} bytes, {} security records; "
                                      "{} bins, {} cells, {} bytes free\n",
                                      s.errors, s.warnings, s.keys, s.values, s.dataBytes, s.securityRecords, s.bins,
                                      s.cells, s.freeBytes));
    }

    std::string m_file;
};

} // namespace

std::unique_ptr<Command> MakeCheckCommand()
{
    return std::make_unique<CheckCommand>();
}

} // namespace tolvar
