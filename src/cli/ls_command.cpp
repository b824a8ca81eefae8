#include <shared_mutex>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/walk_line.h"
#include "platform/registry/subkey_run.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

enum class Depth { kOneKey, kAllBelow };

/// Writes the names in each key that a walk meets: those of its subkeys, then those of its values.
class ListWriter {
public:
    ListWriter(CommandContext& context, std::string_view top, Depth depth)
        : m_context(context), m_out(context.out), m_path(top), m_faults(context), m_depth(depth)
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
        m_prefix = m_depth == Depth::kAllBelow ? ToUtf8(m_path.Text()) + "\\" : std::string();
        ListSubkeys(key);
        if (m_context.json) {
            m_out.Write(R"(],"values":[)");
        }
        m_isFirst = true;
    }

    void OnValue(const Hive& /*hive*/, const ValueRecord& value, const DataView& /*data*/)
    {
        if (m_context.json) {
            WriteJson(value.name);
            return;
        }
        m_out.WriteName(m_prefix + (value.name.empty() ? "(Default)" : value.name.ToUtf8()));
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

    void OnFault(const Hive& hive, const HiveFault& fault, unsigned /*depth*/) { m_faults.Add(hive, fault); }

    /// Tells what was met behind the last key.
    void Finish() { m_faults.Tell(); }

    [[nodiscard]] bool IsStopped() const { return m_isDone || m_out.IsClosed(); }

private:
    void ListSubkeys(const KeyCursor& key)
    {
        if (key.hive != m_hive) {
            // Each key of a hive is listed once. A hive that lists more of them than it can hold runs in circles, and
            // the walk says so.
            m_hive = key.hive;
            m_namesLeft = m_hive != nullptr ? m_hive->Length() / kSmallestKeyCell : 0;
        }
        const Checked<KeyNode> node = key.node != nullptr ? *key.node : Checked<KeyNode>(Fault(Breach::kNone, {}));
        ForEachSubkey(key.Reference(), node, [&](const Checked<KeyNode>& child, const NamespaceKey* space) {
            if (space != nullptr) {
                WriteSubkey(space->name);
            } else if (m_namesLeft == 0) {
                return false;
            } else if (--m_namesLeft; child) {
                WriteSubkey(child->name);
            } else if (m_depth == Depth::kOneKey) { // with all below, the walk comes to it and says so itself
                m_faults.Add(*key.hive, child.error());
            }
            return !m_out.IsClosed();
        });
    }

    template <class Name>
    void WriteSubkey(const Name& name)
    {
        if (m_context.json) {
            WriteJson(name);
            return;
        }
        m_out.WriteName(m_prefix + Utf8(name));
        m_out.Write("\\\n");
    }

    template <class Name>
    void WriteJson(const Name& name)
    {
        std::string& out = m_out.Buffer();
        out.append(m_isFirst ? "\"" : ",\"");
        m_isFirst = false;
        AppendJsonText(out, name);
        m_out.Write("\"");
    }

    static std::string Utf8(const NameView& name) { return name.ToUtf8(); }
    static std::string Utf8(const std::u16string& name) { return ToUtf8(name); }

    CommandContext& m_context;
    Output& m_out;
    WalkPath m_path;
    HeldFaults m_faults;
    Depth m_depth;
    std::string m_prefix; ///< of the names that are printed
    const Hive* m_hive = nullptr;
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
        const std::optional<KeyReference> key = FindForCommand(context, m_path);
        if (!key) {
            return;
        }
        const std::shared_lock lock(context.registry.Lock());
        ListWriter writer(context, m_path, m_isRecursive ? Depth::kAllBelow : Depth::kOneKey);
        KeyWalk(writer).Run(*key);
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
