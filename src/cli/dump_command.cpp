#include <algorithm>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/walk_line.h"
#include "platform/registry/key_cursor.h"
#include "platform/system/file_time.h"

namespace tolvar {

namespace {

/// Writes each key that a walk meets as one line of JSON. A line may be as long as a hive: it goes out as it grows.
class DumpWriter {
public:
    DumpWriter(CommandContext& context, std::string_view top) : m_out(context.out), m_path(top), m_faults(context) {}

    void OnKey(const KeyCursor& key)
    {
        m_path.Enter(key);
        std::string& out = m_out.Buffer();
        out.append(R"({"key":")");
        AppendJsonText(out, m_path.Text());
        out.append(R"(","class":")");
        AppendClass(key);
        out.append(R"(","written":")");
        AppendIsoTime(out, key.LastWrite());
        out.append(R"(","values":[)");
        m_isFirstValue = true;
    }

    void OnValue(const ValueCursor& value)
    {
        if (const std::optional<KeyFault> fault = value.CheckData(); fault) {
            m_faults.Add(*fault); // the line goes on without the value
            return;
        }
        std::string& out = m_out.Buffer();
        out.append(m_isFirstValue ? R"({"name":")" : R"(,{"name":")");
        m_isFirstValue = false;
        AppendJsonText(out, value.Name());
        out.append(R"(","type":)");
        out.append(std::to_string(value.Type()));
        out.append(R"(,"data":")");
        if (const auto fault = value.ForEachPiece([this](auto piece) { AppendData(piece); }); fault) {
            m_faults.Add(*fault);
        }
        m_out.Write("\"}");
    }

    void OnValuesEnd()
    {
        m_out.Write("]}\n");
        m_faults.Tell();
    }

    void OnFault(const KeyFault& fault) { m_faults.Add(fault); }

    /// Tells what was met behind the last line.
    void Finish() { m_faults.Tell(); }

    [[nodiscard]] bool IsStopped() const { return m_out.IsClosed(); }

private:
    void AppendClass(const KeyCursor& key)
    {
        const tl::expected<NameView, KeyFault> name = key.ClassName();
        if (name) {
            AppendJsonText(m_out.Buffer(), *name);
        } else {
            m_faults.Add(name.error());
        }
    }

    void AppendData(std::span<const std::byte> bytes)
    {
        constexpr std::size_t kAtOnce = 1 << 15;
        while (!bytes.empty() && !m_out.IsClosed()) {
            const auto part = bytes.first(std::min(bytes.size(), kAtOnce));
            AppendHex(m_out.Buffer(), part);
            m_out.Written();
            bytes = bytes.subspan(part.size());
        }
    }

    Output& m_out;
    WalkPath m_path;
    HeldFaults m_faults;
    bool m_isFirstValue = true;
};

class DumpCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("dump", "Print a key and all below it as JSON lines, one key a line");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        return app;
    }

    void Run(CommandContext& context) override
    {
        const std::optional<KeyRef> key = FindForCommand(context, m_path);
        if (!key) {
            return;
        }
        WalkPermit permit(context.registry);
        DumpWriter writer(context, m_path);
        KeyWalk(permit, writer).Run(*key);
        writer.Finish();
    }

private:
    std::string m_path;
};

} // namespace

std::unique_ptr<Command> MakeDumpCommand()
{
    return std::make_unique<DumpCommand>();
}

} // namespace tolvar
