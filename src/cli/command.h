#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/output.h"
#include "platform/registry/key_ref.h"
#include "platform/registry/registry.h"
#include "platform/system/error.h"
#include "session/source_session.h"

namespace CLI {
class App;
}

namespace tolvar {

class CTolvarDoc;

/// What a command works with. The streams and the registry outlive it.
struct CommandContext {
    Registry& registry;
    Output& out;
    bool json = false;
    CTolvarDoc* journal = nullptr; ///< open, for a command that asks for it; null where nothing may be written and it
                                   ///< asks for more than to show it
    int keepDays = 0;              ///< of the journal, as it is set

    /// One line on standard error. The exit status becomes 1, and the command may go on.
    void Report(const Error& error);
    /// The same for what should have been asked for otherwise. The exit status becomes 2.
    void ReportWrongUsage(const Error& error);
    /// One line on standard error that is no failure.
    void Tell(std::string_view text);
    bool hasFailed = false;
    bool isWrongUsage = false;
    bool isInUse = false; ///< a file that the command names itself could not be had since another program has it
};

/// One command of the program: its options, and what it does.
class Command {
public:
    virtual ~Command() = default;

    /// Adds the command with its options to `program`, and answers it.
    virtual CLI::App* Register(CLI::App& program) = 0;
    virtual void Run(CommandContext& context) = 0;

    /// Whether it changes the registry: hives are then opened for that, and what it did is made durable at its end.
    [[nodiscard]] virtual bool IsWriting() const { return false; }

    /// How the journal is opened for it; nothing: not at all. Asked when the command line was read.
    [[nodiscard]] virtual std::optional<JournalAccess> UsesJournal() const { return std::nullopt; }

    /// Whether it works on the registry of the session, and not on a file that it names itself.
    [[nodiscard]] virtual bool UsesRegistry() const { return true; }
};

/// What the way to a key tells of a failure: a damaged file and the place in it, where the registry's calls have only a
/// code. Nothing where the way is free.
[[nodiscard]] std::optional<Error> WhyItDoesNotOpen(const Registry& registry, const std::string& path);

/// Opens a key for a command. Reports, and answers null, if that fails.
[[nodiscard]] HKEY OpenForCommand(CommandContext& context, const std::string& path, REGSAM access);

/// Finds a key that a command then walks, if the session's user may read it. Reports, and answers nothing, if not.
[[nodiscard]] std::optional<KeyRef> FindForCommand(CommandContext& context, const std::string& path);

[[nodiscard]] std::unique_ptr<Command> MakeLsCommand();
[[nodiscard]] std::unique_ptr<Command> MakeInfoCommand();
[[nodiscard]] std::unique_ptr<Command> MakeGetCommand();
[[nodiscard]] std::unique_ptr<Command> MakeDumpCommand();
[[nodiscard]] std::unique_ptr<Command> MakeCheckCommand();
[[nodiscard]] std::unique_ptr<Command> MakeSetCommand();
[[nodiscard]] std::unique_ptr<Command> MakeNewCommand();
[[nodiscard]] std::unique_ptr<Command> MakeRmCommand();
[[nodiscard]] std::unique_ptr<Command> MakeMvCommand();
[[nodiscard]] std::unique_ptr<Command> MakeRecoverCommand();
[[nodiscard]] std::unique_ptr<Command> MakeCompactCommand();
[[nodiscard]] std::unique_ptr<Command> MakeExportCommand();
[[nodiscard]] std::unique_ptr<Command> MakeImportCommand();
[[nodiscard]] std::unique_ptr<Command> MakeJournalCommand();
[[nodiscard]] std::unique_ptr<Command> MakeBatchCommand();

/// Runs the program and answers its exit status: 0 done, 1 failed, 2 wrong usage, 3 a hive or the journal is in use
/// by another program.
int RunProgram(int argc, char** argv);

} // namespace tolvar
