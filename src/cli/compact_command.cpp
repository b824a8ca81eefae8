#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "platform/files/fresh_file.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_recovery.h"

namespace tolvar {

namespace {

class CompactCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("compact", "Write a fresh, ordered copy of a hive without gaps");
        app->add_option("FILE", m_file, "The hive file, which stays as it is")->required();
        app->add_option("OUT", m_out, "The new file")->required();
        return app;
    }

    [[nodiscard]] bool UsesRegistry() const override { return false; }

    void Run(CommandContext& context) override
    {
        RecoveryReport recovery;
        const Result<Hive> hive = OpenForReading(SystemFiles(), m_file, LogFailure::kRefuse, recovery);
        if (!hive) {
            context.Report(hive.error());
            return;
        }
        HiveComposer composer(*hive, {}, [&](const HiveFault& fault) { context.Report(hive->ToError(fault)); });
        const Result<std::vector<std::byte>> content = composer.Compose(hive->Root());
        if (!content) {
            context.Report(content.error());
            return;
        }
        if (const Result<void> written = WriteNewFile(SystemFiles(), m_out, *content, m_file); !written) {
            context.Report(written.error());
            return;
        }
        const char* form = context.json ? "{{\"before\":{},\"after\":{}}}\n" : "{} bytes before, {} bytes after\n";
        context.out.Write(fmt::format(fmt::runtime(form), hive->FileBytes().size(), content->size()));
    }

private:
    std::string m_file;
    std::string m_out;
};

} // namespace

std::unique_ptr<Command> MakeCompactCommand()
{
    return std::make_unique<CompactCommand>();
}

} // namespace tolvar
