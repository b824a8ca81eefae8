#include <csignal>
#include <cstdio>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include "cli/command.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

void PrintLine(const std::string& text)
{
    fmt::print(stderr, "tolvar: {}\n", text);
}

/// Mounts what was asked for. A hive that can't be had is reported, and the others stay.
void MountAll(CommandContext& context, const std::vector<std::string>& arguments)
{
    for (const std::string& argument : arguments) {
        if (const Result<void> mounted = context.registry.Mount(MountRequest::FromArgument(argument)); !mounted) {
            context.Report(mounted.error());
        }
    }
    for (const MountNotice& notice : context.registry.Notices()) {
        if (notice.isDamage) {
            context.Report(notice.error);
        } else {
            PrintLine(notice.error.context);
        }
    }
}

} // namespace

void CommandContext::Report(const Error& error)
{
    out.Flush();
    PrintLine(Describe(error));
    hasFailed = true;
}

HKEY OpenForCommand(CommandContext& context, const std::string& path, REGSAM access)
{
    HKEY key = nullptr;
    const LSTATUS code = OpenKeyPath(path, key, access);
    if (code != ERROR_SUCCESS) {
        context.Report({static_cast<ErrorCode>(code), path});
        return nullptr;
    }
    return key;
}

int RunProgram(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App program("Reads Windows registries that are not running.", "tolvar");
    program.set_version_flag("--version", "tolvar " TOLVAR_VERSION);
    program.require_subcommand(1);
    program.fallthrough();
    std::vector<std::string> hives;
    bool json = false;
    bool readOnly = false;
    program
        .add_option("--hive", hives, "A hive file, shown at KEY (default: HKEY_LOCAL_MACHINE\\ and the file's name)")
        ->type_name("FILE[@KEY]")
        ->allow_extra_args(false);
    program.add_flag("--json", json, "Print JSON");
    program.add_flag("--read-only", readOnly, "Never write: this version never does");

    std::vector<std::pair<CLI::App*, std::unique_ptr<Command>>> commands;
    for (auto make : {MakeLsCommand, MakeInfoCommand, MakeGetCommand, MakeDumpCommand, MakeCheckCommand}) {
        std::unique_ptr<Command> command = make();
        CLI::App* app = command->Register(program);
        commands.emplace_back(app, std::move(command));
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kDone : kWrongUsage;
    }
    Registry registry;
    const Session session(registry);
    Output out(STDOUT_FILENO);
    CommandContext context{registry, out, json};
    MountAll(context, hives);
    for (const auto& [app, command] : commands) {
        if (app->parsed()) {
            command->Run(context);
        }
    }
    out.Flush();
    if (out.Failure()) {
        context.Report(*out.Failure());
    }
    return context.hasFailed ? kFailed : kDone;
}

} // namespace tolvar
