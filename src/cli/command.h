#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/output.h"
#include "platform/registry/key_reference.h"
#include "platform/registry/registry.h"
#include "platform/system/error.h"

namespace CLI {
class App;
}

namespace tolvar {

/// What a command works with. The streams and the registry outlive it.
struct CommandContext {
    Registry& registry;
    Output& out;
    bool json = false;

    /// One line on standard error. The exit status becomes 1, and the command may go on.
    void Report(const Error& error);
    bool hasFailed = false;
    bool isInUse = false; ///< a hive could not be had since another program has it
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

    /// Whether it works on the registry of the session, and not on a file that it names itself.
    [[nodiscard]] virtual bool UsesRegistry() const { return true; }
};

/// Opens a key for a command. Reports, and answers null, if that fails.
[[nodiscard]] HKEY OpenForCommand(CommandContext& context, const std::string& path, REGSAM access);

/// Finds a key that a command then walks, if the session's user may read it. Reports, and answers nothing, if not.
[[nodiscard]] std::optional<KeyReference> FindForCommand(CommandContext& context, const std::string& path);

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

/// Runs the program and answers its exit status: 0 done, 1 failed, 2 wrong usage, 3 a hive is in use by another
/// program.
int RunProgram(int argc, char** argv);

} // namespace tolvar
