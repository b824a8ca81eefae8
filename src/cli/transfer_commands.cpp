#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "registry/reg_key.h"

namespace tolvar {

namespace {

/// A command that moves a key to or from a file. Hive files are the one format so far.
class TransferCommand : public Command {
public:
    void Run(CommandContext& context) override
    {
        const RegKey key(OpenForCommand(context, m_path, KEY_READ));
        if (!key) {
            return;
        }
        if (const LSTATUS code = Transfer(key.Get()); code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), m_path + ", file " + m_file});
        }
    }

protected:
    [[nodiscard]] virtual LSTATUS Transfer(HKEY key) = 0;

    void AddFormat(CLI::App& app)
    {
        app.add_option("--format", m_format, "Format of the file: hive")->required()->check(CLI::IsMember({"hive"}));
    }

    std::string m_path;
    std::string m_file;

private:
    std::string m_format;
};

class ExportCommand final : public TransferCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("export", "Save a key and all below it to a new file");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        app->add_option("FILE", m_file, "The new file")->required();
        AddFormat(*app);
        return app;
    }

protected:
    [[nodiscard]] LSTATUS Transfer(HKEY key) override { return RegSaveKeyA(key, m_file.c_str(), nullptr); }
};

class ImportCommand final : public TransferCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("import", "Put the content of a hive file in the place of a key's");
        app->add_option("FILE", m_file, "The file")->required();
        app->add_option("--key", m_path, "Full path of the key whose content is replaced")->required();
        AddFormat(*app);
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return true; }

protected:
    [[nodiscard]] LSTATUS Transfer(HKEY key) override { return RegRestoreKeyA(key, m_file.c_str(), 0); }
};

} // namespace

std::unique_ptr<Command> MakeExportCommand()
{
    return std::make_unique<ExportCommand>();
}

std::unique_ptr<Command> MakeImportCommand()
{
    return std::make_unique<ImportCommand>();
}

} // namespace tolvar
