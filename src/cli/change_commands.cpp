#include "cli/change_command.h"

#include <CLI/CLI.hpp>

#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

/// The type of a value, for the record of what happens to it; 0 where it can't be read.
DWORD TypeOf(const std::string& path, const std::string& name)
{
    RegKey key;
    DWORD type = 0;
    if (OpenKeyPath(path, *key.Put(), KEY_READ) == ERROR_SUCCESS) {
        static_cast<void>(RegQueryValueExA(key.Get(), name.c_str(), nullptr, &type, nullptr, nullptr));
    }
    return type;
}

class NewCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("new", "Make a key, and the keys that are missing on the way to it");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        return app;
    }

protected:
    /// One change for each key that is missing, so that each can be undone; all of them or none.
    void Change(CommandContext& context) override
    {
        std::vector<std::string> names;
        std::string parent = m_path;
        for (RegKey key; OpenKeyPath(parent, *key.Put(), KEY_READ) == ERROR_FILE_NOT_FOUND;) {
            const std::size_t slash = parent.rfind('\\');
            if (slash == std::string::npos) {
                break;
            }
            if (slash + 1 != parent.size()) {
                names.push_back(parent.substr(slash + 1));
            }
            parent.resize(slash);
        }
        if (names.empty()) {
            context.Report({ErrorCode::kAlreadyExists, m_path});
            return;
        }
        const std::size_t before = context.journal->Journal().size();
        for (; !names.empty(); names.pop_back()) {
            if (!Apply(context, ChangeRecord::NewKey(parent, names.back()))) {
                UndoFrom(context, before);
                return;
            }
            parent.append("\\").append(names.back());
        }
    }
};

class RmCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("rm", "Delete a key with all below it, or one of its values");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        m_valueOption = app->add_option("--value", m_value, "Delete this value; empty for the default value");
        return app;
    }

protected:
    void Change(CommandContext& context) override
    {
        const bool isValue = m_valueOption->count() != 0;
        Apply(context, isValue ? ChangeRecord::DeleteValue(m_path, m_value, TypeOf(m_path, m_value))
                               : ChangeRecord::DeleteKey(m_path));
    }

private:
    std::string m_value;
    CLI::Option* m_valueOption = nullptr;
};

class MvCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("mv", "Give a key or one of its values another name");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        m_valueOption = app->add_option("--value", m_value, "Rename this value, in the place of one of the new name");
        app->add_option("NEWNAME", m_newName, "The new name")->required();
        return app;
    }

protected:
    void Change(CommandContext& context) override
    {
        const bool isValue = m_valueOption->count() != 0;
        Apply(context, isValue ? ChangeRecord::RenameValue(m_path, m_value, m_newName, TypeOf(m_path, m_value))
                               : ChangeRecord::RenameKey(m_path, m_newName));
    }

private:
    std::string m_value;
    std::string m_newName;
    CLI::Option* m_valueOption = nullptr;
};

} // namespace

void ChangeCommand::Run(CommandContext& context)
{
    while (m_path.ends_with('\\')) {
        m_path.pop_back();
    }
    if (context.journal == nullptr) {
        context.Report({ErrorCode::kWriteProtect, m_path});
        return;
    }
    Change(context);
}

bool ChangeCommand::Apply(CommandContext& context, const ChangeRecord& change)
{
    const Result<void> applied = context.journal->ApplyChange(change);
    if (!applied) {
        context.Report(applied.error());
    }
    return applied.has_value();
}

void UndoFrom(CommandContext& context, std::size_t first)
{
    std::vector<std::size_t> indices;
    for (std::size_t index = first; index < context.journal->Journal().size(); ++index) {
        indices.push_back(index);
    }
    for (const Error& error : context.journal->UndoEntries(indices).failures) {
        context.Report(error);
    }
}

std::unique_ptr<Command> MakeNewCommand()
{
    return std::make_unique<NewCommand>();
}

std::unique_ptr<Command> MakeRmCommand()
{
    return std::make_unique<RmCommand>();
}

std::unique_ptr<Command> MakeMvCommand()
{
    return std::make_unique<MvCommand>();
}

} // namespace tolvar
