#include <csignal>
#include <cstdio>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "cli/command.h"
#include "platform/registry/walk_permit.h"
#include "platform/system/standard_streams.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "session/settings_file.h"
#include "session/source_session.h"

namespace tolvar {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kInUse = 3;

void PrintLine(std::string_view text)
{
    std::string line = "tolvar: ";
    AppendVisible(line, text);
    line.push_back('\n');
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr)); // there is nowhere left to say that it failed
}

/// How the hives of the source are opened for a command. A crash may have left changes open, which the journal settles
/// in the registry: whoever opens the journal for more than a look opens the hives for writing too.
SourceAccess AccessFor(const Command& command)
{
    const bool isSettling = command.UsesJournal().value_or(JournalAccess::kShow) != JournalAccess::kShow;
    return command.IsWriting() || isSettling ? SourceAccess::kWrite : SourceAccess::kRead;
}

/// What has a code is a failure; all else is good to know.
void Say(CommandContext& context, const std::vector<SourceProblem>& problems)
{
    for (const SourceProblem& problem : problems) {
        if (problem.error.code == ErrorCode::kSuccess) {
            context.Tell(problem.error.context);
        } else {
            context.Report(problem.error);
        }
    }
}

/// Opens what the command works on. A hive that can't be had is reported, and the others stay. False: the journal that
/// the command asks for can't be had.
bool OpenFor(CommandContext& context, const Command& command, SourceSession& source)
{
    if (command.UsesRegistry()) {
        Say(context, source.Mount(AccessFor(command)));
    }
    const std::optional<JournalAccess> access = command.UsesJournal();
    if (!access || (*access != JournalAccess::kShow && source.Options().isReadOnly)) {
        return true;
    }
    if (source.IsInUse()) {
        return false;
    }
    context.journal = &source.MakeDocument(*access);
    context.keepDays = source.KeepDays();
    const Result<std::vector<SourceProblem>> opened = source.OpenDocument();
    if (!opened) {
        context.Report(opened.error());
        return false;
    }
    Say(context, *opened);
    return true;
}

/// Runs a command, and makes what it did durable.
void RunCommand(CommandContext& context, Command& command, SourceSession& source)
{
    if (!OpenFor(context, command, source)) {
        return;
    }
    command.Run(context);
    context.journal = nullptr;
    for (const Error& failure : source.Close()) {
        context.Report(failure);
    }
}

} // namespace

void CommandContext::Report(const Error& error)
{
    Tell(Describe(error));
    hasFailed = true;
}

void CommandContext::ReportWrongUsage(const Error& error)
{
    Report(error);
    isWrongUsage = true;
}

void CommandContext::Tell(std::string_view text)
{
    out.Flush();
    PrintLine(text);
}

std::optional<Error> WhyItDoesNotOpen(const Registry& registry, const std::string& path)
{
    const WalkPermit permit(registry);
    const Result<KeyRef> key = permit.Find(path);
    return key ? std::nullopt : std::optional(key.error());
}

HKEY OpenForCommand(CommandContext& context, const std::string& path, REGSAM access)
{
    HKEY key = nullptr;
    const LSTATUS code = OpenKeyPath(path, key, access);
    if (code != ERROR_SUCCESS) {
        context.Report(WhyItDoesNotOpen(context.registry, path).value_or(Error{static_cast<ErrorCode>(code), path}));
        return nullptr;
    }
    return key;
}

std::optional<KeyRef> FindForCommand(CommandContext& context, const std::string& path)
{
    const RegKey opened(OpenForCommand(context, path, KEY_READ));
    if (!opened) {
        return std::nullopt;
    }
    const WalkPermit permit(context.registry);
    const Result<KeyRef> key = permit.Find(path);
    if (!key) {
        context.Report(key.error());
        return std::nullopt;
    }
    return *key;
}

int RunProgram(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    HoldStandardStreams();
    CLI::App program("Reads and changes Windows registries that are not running.", "tolvar");
    program.set_version_flag("--version", "tolvar " TOLVAR_VERSION);
    program.require_subcommand(1);
    program.fallthrough();
    SourceOptions options;
    AddSourceOptions(program, options);
    bool json = false;
    program.add_flag("--json", json, "Print JSON");

    std::vector<std::pair<CLI::App*, std::unique_ptr<Command>>> commands;
    for (auto make : {MakeLsCommand, MakeInfoCommand, MakeGetCommand, MakeDumpCommand, MakeCheckCommand, MakeSetCommand,
                      MakeNewCommand, MakeRmCommand, MakeMvCommand, MakeRecoverCommand, MakeCompactCommand,
                      MakeExportCommand, MakeImportCommand, MakeJournalCommand, MakeBatchCommand}) {
        std::unique_ptr<Command> command = make();
        CLI::App* app = command->Register(program);
        commands.emplace_back(app, std::move(command));
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kDone : kWrongUsage;
    }
    SettingsFile settings;
    SourceSession source(std::move(options), settings);
    Output out(STDOUT_FILENO);
    CommandContext context{source.OpenRegistry(), out, json};
    for (const auto& [app, command] : commands) {
        if (app->parsed()) {
            RunCommand(context, *command, source);
        }
    }
    out.Flush();
    if (out.Failure()) {
        context.Report(*out.Failure());
    }
    if (source.IsInUse() || context.isInUse) {
        return kInUse;
    }
    return context.isWrongUsage ? kWrongUsage : context.hasFailed ? kFailed : kDone;
}

} // namespace tolvar
