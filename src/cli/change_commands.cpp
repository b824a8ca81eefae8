#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "registry/subtree.h"

namespace tolvar {

namespace {

/// A command that changes one key or value, and reports the code that it gets.
class ChangeCommand : public Command {
public:
    [[nodiscard]] bool IsWriting() const override { return true; }

    void Run(CommandContext& context) override
    {
        while (m_path.ends_with('\\')) {
            m_path.pop_back();
        }
        if (const LSTATUS code = Change(); code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), m_value.empty() ? m_path : m_path + ", value " + m_value});
        }
    }

protected:
    [[nodiscard]] virtual LSTATUS Change() = 0;

    /// Does something to the parent of the key that the path names; a root has none.
    template <class Act>
    [[nodiscard]] LSTATUS AtParent(Act&& act) const
    {
        const std::size_t slash = m_path.rfind('\\');
        if (slash == std::string::npos) {
            return ERROR_ACCESS_DENIED;
        }
        RegKey parent;
        const LSTATUS code = OpenKeyPath(m_path.substr(0, slash), *parent.Put(), KEY_READ);
        return code == ERROR_SUCCESS ? act(parent.Get(), m_path.substr(slash + 1)) : code;
    }

    /// Does something to the key itself.
    template <class Act>
    [[nodiscard]] LSTATUS AtKey(Act&& act) const
    {
        RegKey key;
        const LSTATUS code = OpenKeyPath(m_path, *key.Put(), KEY_SET_VALUE);
        return code == ERROR_SUCCESS ? act(key.Get()) : code;
    }

    std::string m_path;
    std::string m_value;
};

class NewCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("new", "Make a key, and the keys that are missing on the way to it");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        return app;
    }

protected:
    [[nodiscard]] LSTATUS Change() override
    {
        RegKey key;
        return CreateKeyPath(m_path, *key.Put(), KEY_READ);
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
    [[nodiscard]] LSTATUS Change() override
    {
        if (m_valueOption->count() != 0) {
            return AtKey([this](HKEY key) { return RegDeleteValueA(key, m_value.c_str()); });
        }
        return AtParent([](HKEY parent, const std::string& name) { return DeleteKeyTree(parent, name); });
    }

private:
    CLI::Option* m_valueOption = nullptr;
};

class MvCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("mv", "Give a key or one of its values another name");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        m_valueOption = app->add_option("--value", m_value, "Rename this value");
        app->add_option("NEWNAME", m_newName, "The new name")->required();
        return app;
    }

protected:
    [[nodiscard]] LSTATUS Change() override
    {
        if (m_valueOption->count() != 0) {
            return AtKey([this](HKEY key) { return RegRenameValue(key, m_value.c_str(), m_newName.c_str()); });
        }
        return AtParent([this](HKEY parent, const std::string& name) {
            return RegRenameKey(parent, name.c_str(), m_newName.c_str());
        });
    }

private:
    CLI::Option* m_valueOption = nullptr;
    std::string m_newName;
};

} // namespace

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
