#include <csignal>
#include <cstdio>
#include <shared_mutex>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "cli/command.h"
#include "platform/registry/embedded_registry.h"
#include "platform/system/standard_streams.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "session/journal_source.h"
#include "session/settings_file.h"

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

/// What the way to a key tells of a failure: a damaged file and the place in it, where the registry's calls have only a
/// code. Nothing where the way is free.
std::optional<Error> WhyItDoesNotOpen(const Registry& registry, const std::string& path)
{
    const std::shared_lock lock(registry.Lock());
    const Result<KeyReference> key = registry.Find(path);
    if (!key) {
        return key.error();
    }
    const Checked<KeyNode> node = key->HasHive() ? key->Node() : Checked<KeyNode>();
    return node ? std::nullopt : std::optional(key->hive->ToError(node.error()));
}

/// Where a session's registry comes from.
struct Source {
    std::vector<std::string> hives; ///< "FILE[@KEY]" each; none: the embedded registry
    std::filesystem::path embedded = EmbeddedRegistryFolder();
    bool isReadOnly = false;
};

/// Mounts what was asked for. A hive that can't be had is reported, and the others stay.
void MountSource(CommandContext& context, const Source& source, MountMode mode)
{
    const auto report = [&context](const Result<void>& result) {
        if (!result) {
            context.isInUse = context.isInUse || result.error().code == ErrorCode::kSharingViolation;
            context.Report(result.error());
        }
        return result.has_value();
    };
    for (const std::string& argument : source.hives) {
        report(context.registry.Mount(MountRequest::FromArgument(argument), mode));
    }
    if (source.hives.empty() && (source.isReadOnly || report(MakeEmbeddedRegistry(source.embedded)))) {
        report(MountEmbeddedRegistry(context.registry, source.embedded, mode));
    }
    for (const MountNotice& notice : context.registry.Notices()) {
        if (notice.isDamage) {
            context.Report(notice.error);
        } else {
            PrintLine(notice.error.context);
        }
    }
}

/// The hives of a source, whether or not they can be had.
std::vector<MountRequest> MountsOf(const Source& source)
{
    if (source.hives.empty()) {
        return EmbeddedMounts(source.embedded);
    }
    std::vector<MountRequest> mounts;
    for (const std::string& argument : source.hives) {
        mounts.push_back(MountRequest::FromArgument(argument));
    }
    return mounts;
}

/// Opens the journal of the source for a command that asks for it. Null where it can't be had.
std::unique_ptr<CTolvarDoc> OpenJournal(CommandContext& context, const Source& source)
{
    SettingsFile settings;
    JournalOptions options = JournalOptionsFor(MountsOf(source), settings);
    options.isReadOnly = source.isReadOnly;
    context.keepDays = options.keepDays;
    auto journal = std::make_unique<CTolvarDoc>(std::move(options));
    if (const Result<void> opened = journal->OnNewDocument(); !opened) {
        context.isInUse = context.isInUse || opened.error().code == ErrorCode::kSharingViolation;
        context.Report(opened.error());
        return nullptr;
    }
    return journal;
}

/// Runs a command, with the journal if it asks for one, and makes what it did durable.
void RunCommand(CommandContext& context, Command& command, const Source& source)
{
    const JournalUse use = command.UsesJournal();
    std::unique_ptr<CTolvarDoc> journal;
    if (use == JournalUse::kShow || (use == JournalUse::kChange && !source.isReadOnly)) {
        journal = context.isInUse ? nullptr : OpenJournal(context, source);
        if (journal == nullptr) {
            return;
        }
    }
    context.journal = journal.get();
    command.Run(context);
    context.journal = nullptr;
    const Result<void> flushed = context.registry.Flush();
    const Result<void> saved = journal != nullptr ? journal->SaveModified() : Result<void>();
    for (const Result<void>& result : {flushed, saved}) {
        if (!result) {
            context.Report(result.error());
        }
    }
}

} // namespace

void CommandContext::Report(const Error& error)
{
    Tell(Describe(error));
    hasFailed = true;
}

void CommandContext::Tell(std::string_view text)
{
    out.Flush();
    PrintLine(text);
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

std::optional<KeyReference> FindForCommand(CommandContext& context, const std::string& path)
{
    const RegKey opened(OpenForCommand(context, path, KEY_READ));
    if (!opened) {
        return std::nullopt;
    }
    const std::shared_lock lock(context.registry.Lock());
    const Result<KeyReference> key = context.registry.Find(path);
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
    Source source;
    bool json = false;
    program
        .add_option("--hive", source.hives,
                    "A hive file, shown at KEY (default: HKEY_LOCAL_MACHINE\\ and the file's name)")
        ->type_name("FILE[@KEY]")
        ->allow_extra_args(false);
    program
        .add_option("--registry", source.embedded,
                    "Folder of the embedded registry, which is used where no hive is given and made at first use")
        ->type_name("DIR");
    program.add_flag("--json", json, "Print JSON");
    program.add_flag("--read-only", source.isReadOnly, "Write nothing, lock nothing, and leave the files as they are");

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
    Registry registry;
    const Session session(registry);
    Output out(STDOUT_FILENO);
    CommandContext context{registry, out, json};
    for (const auto& [app, command] : commands) {
        if (!app->parsed()) {
            continue;
        }
        // A crash may have left changes open, which the journal settles in the registry.
        const bool opensJournal = command->UsesJournal() != JournalUse::kNone;
        const bool writes = (command->IsWriting() || opensJournal) && !source.isReadOnly;
        if (command->UsesRegistry()) {
            MountSource(context, source, writes ? MountMode::kWritable : MountMode::kReadOnly);
        }
        RunCommand(context, *command, source);
    }
    out.Flush();
    if (out.Failure()) {
        context.Report(*out.Failure());
    }
    return context.isInUse ? kInUse : context.hasFailed ? kFailed : kDone;
}

} // namespace tolvar
