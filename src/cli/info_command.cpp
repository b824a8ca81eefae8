#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "platform/system/file_time.h"
#include "registry/key_owner.h"
#include "registry/reg_key.h"

namespace tolvar {

namespace {

class InfoCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("info", "Print a key's class, counts, last write, owner and group");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        return app;
    }

    void Run(CommandContext& context) override
    {
        const RegKey key(OpenForCommand(context, m_path, KEY_READ));
        if (!key) {
            return;
        }
        std::string className(3 * 32768, '\0'); // a class has at most 32,767 units
        auto classSize = static_cast<DWORD>(className.size());
        DWORD subkeys = 0;
        DWORD values = 0;
        FILETIME written = {};
        const LSTATUS code = RegQueryInfoKeyA(key.Get(), className.data(), &classSize, nullptr, &subkeys, nullptr,
                                              nullptr, &values, nullptr, nullptr, nullptr, &written);
        if (code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), m_path});
            return;
        }
        className.resize(classSize);
        std::string owner;
        std::string group;
        const LSTATUS ownerCode = GetKeyOwnerAndGroup(key.Get(), owner, group);
        if (ownerCode != ERROR_SUCCESS && ownerCode != ERROR_FILE_NOT_FOUND) { // a key of no hive has neither
            context.Report({static_cast<ErrorCode>(ownerCode), "owner and group of " + m_path});
        }
        std::string time;
        AppendIsoTime(time, std::uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime);
        if (context.json) {
            context.out.Write(
                fmt::format(R"({{"key":{},"class":{},"subkeys":{},"values":{},"written":"{}","owner":{},"group":{}}})"
                            "\n",
                            JsonString(m_path), JsonString(className), subkeys, values, time, JsonString(owner),
                            JsonString(group)));
            return;
        }
        Print(context, "Class", className);
        Print(context, "Subkeys", std::to_string(subkeys));
        Print(context, "Values", std::to_string(values));
        Print(context, "Last write", time);
        Print(context, "Owner", owner);
        Print(context, "Group", group);
    }

private:
    static void Print(CommandContext& context, const char* label, const std::string& text)
    {
        context.out.Write(fmt::format("{:<12}", std::string(label) + ":"));
        context.out.WriteName(text);
        context.out.Write("\n");
    }

    std::string m_path;
};

} // namespace

std::unique_ptr<Command> MakeInfoCommand()
{
    return std::make_unique<InfoCommand>();
}

} // namespace tolvar
