#include "cli/change_command.h"

#include <CLI/CLI.hpp>

#include "platform/registry/key_path.h"
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
        for (RegKey key; HoldsSeparator(parent) && OpenKeyPath(parent, *key.Put(), KEY_READ) == ERROR_FILE_NOT_FOUND;) {
            if (const std::string_view name = LastName(parent); !name.empty()) {
                names.emplace_back(name);
            }
            parent.resize(ParentPath(parent).size());
        }
        if (names.empty()) {
            context.Report({ErrorCode::kAlreadyExists, m_path});
            return;
        }
        ChangeGroup group(*context.journal);
        for (; !names.empty(); names.pop_back()) {
            if (!Apply(context, ChangeRecord::NewKey(parent, names.back()))) {
                for (const Error& error : group.TakeBack().failures) {
                    context.Report(error);
                }
                return;
            }
            AppendPath(parent, names.back());
        }
        if (const Result<void> committed = group.Commit(); !committed) {
            context.Report(committed.error());
        }
    }
};

/// A command about a key, or one of its values.
class KeyOrValueCommand : public ChangeCommand {
protected:
    void AddValueOption(CLI::App& app, const char* description)
    {
        // An optional text would take an empty one for none.
        app.add_option_function<std::string>(
            "--value", [this](const std::string& name) { m_value = name; }, description);
    }

    std::optional<std::string> m_value;
};

class RmCommand final : public KeyOrValueCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("rm", "Delete a key with all below it, or one of its values");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        AddValueOption(*app, "Delete this value; empty for the default value");
        return app;
    }

protected:
    void Change(CommandContext& context) override
    {
        Apply(context, m_value ? ChangeRecord::DeleteValue(m_path, *m_value, TypeOf(m_path, *m_value))
                               : ChangeRecord::DeleteKey(m_path));
    }
};

class MvCommand final : public KeyOrValueCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("mv", "Give a key or one of its values another name");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        AddValueOption(*app, "Rename this value, in the place of one of the new name");
        app->add_option("NEWNAME", m_newName, "The new name")->required();
        return app;
    }

protected:
    void Change(CommandContext& context) override
    {
        Apply(context, m_value ? ChangeRecord::RenameValue(m_path, *m_value, m_newName, TypeOf(m_path, *m_value))
                               : ChangeRecord::RenameKey(m_path, m_newName));
    }

private:
    std::string m_newName;
};

} // namespace

void ChangeCommand::Run(CommandContext& context)
{
    m_path.resize(TrimPathEnd(m_path).size());
    if (context.journal == nullptr) {
        context.Report({ErrorCode::kWriteProtect, m_path});
        return;
    }
    Change(context);
}

bool ChangeCommand::Apply(CommandContext& context, const ChangeRecord& change)
{
    const Result<void> applied = context.journal->ApplyChange(change);
    if (!applied) { // the way to the key tells of a damaged file and the place in it
        context.Report(WhyItDoesNotOpen(context.registry, change.path).value_or(applied.error()));
    }
    return applied.has_value();
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
