#include <shared_mutex>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_text.h"
#include "platform/registry/key_cursor.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

/// Writes each key that a walk meets as one line of JSON.
class DumpWriter {
public:
    DumpWriter(CommandContext& context, std::u16string_view top) : m_context(context) { m_paths.emplace_back(top); }

    void OnKey(const KeyCursor& key)
    {
        m_paths.resize(key.depth + 1);
        if (key.depth != 0) {
            m_paths[key.depth] = m_paths[key.depth - 1];
            m_paths[key.depth] += u'\\';
            m_paths[key.depth] += key.mountName != nullptr ? *key.mountName : key.node->name.ToUtf16();
        }
        std::string& out = m_context.out.Buffer();
        out.append(R"({"key":")");
        AppendJsonText(out, m_paths[key.depth]);
        out.append(R"(","class":")");
        if (key.node != nullptr) {
            AppendClass(key);
        }
        out.append(R"(","written":")");
        AppendTime(out, key.node != nullptr ? key.node->lastWrite : 0);
        out.append(R"(","values":[)");
        m_isFirstValue = true;
    }

    void OnValue(const Hive& hive, const ValueRecord& value, DataView data)
    {
        std::string& out = m_context.out.Buffer();
        const std::size_t before = out.size();
        out.append(m_isFirstValue ? R"({"name":")" : R"(,{"name":")");
        AppendJsonText(out, value.name);
        out.append(R"(","type":)");
        out.append(std::to_string(value.type));
        out.append(R"(,"data":")");
        Checked<std::span<const std::byte>> piece = hive.NextPiece(data);
        while (piece && !piece->empty()) {
            AppendHex(out, *piece);
            if (hive.MediumFailed(*piece)) {
                piece = Fault(Breach::kMediumFailed, value.offset);
                break;
            }
            piece = hive.NextPiece(data);
        }
        if (!piece) {
            out.resize(before); // the line goes on without the value
            m_faults.push_back(hive.ToError(piece.error()));
            return;
        }
        out.append("\"}");
        m_isFirstValue = false;
    }

    void OnValuesEnd()
    {
        m_context.out.Write("]}\n");
        for (const Error& fault : m_faults) {
            m_context.Report(fault);
        }
        m_faults.clear();
    }

    void OnFault(const Hive& hive, const HiveFault& fault, unsigned /*depth*/)
    {
        m_faults.push_back(hive.ToError(fault));
    }

    void Finish()
    {
        for (const Error& fault : m_faults) {
            m_context.Report(fault);
        }
    }

    [[nodiscard]] bool IsStopped() const { return m_context.out.IsClosed(); }

private:
    void AppendClass(const KeyCursor& key)
    {
        const Checked<NameView> name = key.hive->ClassName(*key.node);
        if (name) {
            AppendJsonText(m_context.out.Buffer(), *name);
        } else {
            m_faults.push_back(key.hive->ToError(name.error()));
        }
    }

    CommandContext& m_context;
    std::vector<std::u16string> m_paths; ///< full paths of the keys on the way down
    std::vector<Error> m_faults;         ///< met while a line is being written, told after it
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
        const std::shared_lock lock(context.registry.Lock());
        const Result<KeyReference> key = context.registry.Find(m_path);
        if (!key) {
            context.Report(key.error());
            return;
        }
        std::string_view top = m_path;
        while (top.ends_with('\\')) {
            top.remove_suffix(1);
        }
        DumpWriter writer(context, ToUtf16(top).value_or(std::u16string()));
        KeyWalk(writer).Run(*key);
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
