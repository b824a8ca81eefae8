#include <vector>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/key_contents.h"
#include "registry/reg_key.h"

namespace tolvar {

namespace {

class LsCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("ls", "List the names of a key's subkeys and values");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        app->add_flag("--recursive,-r", m_isRecursive, "Go into the subkeys");
        return app;
    }

    void Run(CommandContext& context) override
    {
        while (m_path.ends_with('\\')) {
            m_path.pop_back();
        }
        // A stack in place of recursion: how deep a hive goes is not ours to say.
        std::vector<std::string> pending = {m_path};
        while (!pending.empty() && !context.out.IsClosed()) {
            const std::string path = std::move(pending.back());
            pending.pop_back();
            const RegKey key(OpenForCommand(context, path, KEY_READ));
            if (!key) {
                continue;
            }
            const std::vector<std::string> names = List(context, path, key.Get());
            if (m_isRecursive && DepthOf(path) < kMaxPathDepth) {
                for (auto name = names.rbegin(); name != names.rend(); ++name) {
                    pending.push_back(path + "\\" + *name);
                }
            }
        }
    }

private:
    static constexpr std::ptrdiff_t kMaxPathDepth =
        512; ///< the format's limit; a hive that goes deeper runs in circles

    static std::ptrdiff_t DepthOf(const std::string& path) { return std::count(path.begin(), path.end(), '\\'); }

    std::vector<std::string> List(CommandContext& context, const std::string& path, HKEY key) const
    {
        std::vector<std::string> names = SubkeyNames(key);
        LSTATUS failure = ERROR_SUCCESS;
        const std::vector<ListedValue> values = ValuesOf(key, &failure);
        if (failure != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(failure), path});
        }
        if (context.json) {
            PrintJson(context, path, names, values);
            return names;
        }
        Output& out = context.out;
        const std::string prefix = m_isRecursive ? path + "\\" : std::string();
        for (const std::string& name : names) {
            out.WriteName(prefix + name);
            out.Write("\\\n");
        }
        for (const ListedValue& value : values) {
            out.WriteName(prefix + (value.name.empty() ? "(Default)" : value.name));
            out.Write("\n");
        }
        return names;
    }

    static void PrintJson(CommandContext& context, const std::string& path, const std::vector<std::string>& names,
                          const std::vector<ListedValue>& values)
    {
        Output& out = context.out;
        out.Write(R"({"key":)" + JsonString(path) + R"(,"subkeys":[)");
        for (std::size_t i = 0; i < names.size(); ++i) {
            out.Write((i == 0 ? "" : ",") + JsonString(names[i]));
        }
        out.Write(R"(],"values":[)");
        for (std::size_t i = 0; i < values.size(); ++i) {
            out.Write((i == 0 ? "" : ",") + JsonString(values[i].name));
        }
        out.Write("]}\n");
    }

    std::string m_path;
    bool m_isRecursive = false;
};

} // namespace

std::unique_ptr<Command> MakeLsCommand()
{
    return std::make_unique<LsCommand>();
}

} // namespace tolvar
