#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/walk_line.h"
#include "platform/registry/key_view.h"
#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {

namespace {

enum class Depth { kOneKey, kAllBelow };

/// Writes the names in each key that a walk meets: those of its subkeys, then those of its values.
class ListWriter {
public:
    ListWriter(CommandContext& context, const NameSpace& names, std::string_view top, Depth depth)
        : m_context(context), m_out(context.out), m_names(names), m_path(top), m_faults(context), m_depth(depth)
    {}

    void OnKey(const KeyCursor& key)
    {
        m_path.Enter(key);
        if (m_context.json) {
            m_out.Buffer().append(R"({"key":")");
            AppendJsonText(m_out.Buffer(), m_path.Text());
            m_out.Write(R"(","subkeys":[)");
        }
        m_isFirst = true;
        m_prefix = m_depth == Depth::kAllBelow ? ToUtf8(m_path.Text()) + kPathSeparator : std::string();
        ListSubkeys(key);
        if (m_context.json) {
            m_out.Write(R"(],"values":[)");
        }
        m_isFirst = true;
    }

    void OnValue(const ValueCursor& value)
    {
        if (m_context.json) {
            WriteJson(value.Name());
            return;
        }
        m_out.WriteName(m_prefix + (value.Name().empty() ? "(Default)" : value.Name().ToUtf8()));
        m_out.Write("\n");
    }

    void OnValuesEnd()
    {
        if (m_context.json) {
            m_out.Write("]}\n");
        }
        m_faults.Tell();
        m_isDone = m_depth == Depth::kOneKey;
    }

    void OnFault(const KeyFault& fault) { m_faults.Add(fault); }

    /// Tells what was met behind the last key.
    void Finish() { m_faults.Tell(); }

    [[nodiscard]] bool IsStopped() const { return m_isDone || m_out.IsClosed(); }

private:
    void ListSubkeys(const KeyCursor& key)
    {
        const Mount* const mount = key.Key().First().mount;
        if (mount != m_mount) {
            // Each key of a hive is listed once. A hive that lists more of them than it can hold runs in circles, and
            // the walk says so.
            m_mount = mount;
            m_namesLeft = key.MostSubkeys();
        }
        SubkeyRun run(m_names, key.Key());
        while (const SeenSubkey* subkey = m_namesLeft == 0 || m_out.IsClosed() ? nullptr : run.Next()) {
            --m_namesLeft;
            if (subkey->isReadable) {
                WriteSubkey(subkey->name);
            } else if (m_depth == Depth::kOneKey) { // with all below, the walk comes to it and says so itself
                m_faults.Add(KeyFault(subkey->key.First().Reader(), subkey->fault));
            }
        }
    }

    void WriteSubkey(const NameView& name)
    {
        if (m_context.json) {
            WriteJson(name);
            return;
        }
        m_out.WriteName(m_prefix + name.ToUtf8());
        m_out.Write("\\\n");
    }

    void WriteJson(const NameView& name)
    {
        std::string& out = m_out.Buffer();
        out.append(m_isFirst ? "\"" : ",\"");
        m_isFirst = false;
        AppendJsonText(out, name);
        m_out.Write("\"");
    }

    CommandContext& m_context;
    Output& m_out;
    const NameSpace& m_names;
    WalkPath m_path;
    HeldFaults m_faults;
    Depth m_depth;
    std::string m_prefix; ///< of the names that are printed
    const Mount* m_mount = nullptr;
    std::uint32_t m_namesLeft = 0;
    bool m_isFirst = true;
    bool m_isDone = false;
};

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
        const std::optional<KeyRef> key = FindForCommand(context, m_path);
        if (!key) {
            return;
        }
        WalkPermit permit(context.registry);
        ListWriter writer(context, permit.Names(), m_path, m_isRecursive ? Depth::kAllBelow : Depth::kOneKey);
        KeyWalk(permit, writer).Run(*key);
        writer.Finish();
    }

private:
    std::string m_path;
    bool m_isRecursive = false;
};

} // namespace

std::unique_ptr<Command> MakeLsCommand()
{
    return std::make_unique<LsCommand>();
}

} // namespace tolvar
