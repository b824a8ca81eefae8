#include <algorithm>
#include <shared_mutex>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/walk_line.h"
#include "platform/registry/key_text.h"
#include "platform/system/text.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

/// Writes values in their text form, one a line.
class ValueWriter {
public:
    ValueWriter(CommandContext& context, bool withNames) : m_context(context), m_withNames(withNames), m_faults(context)
    {}

    /// Writes the value, or answers why it can't be read.
    [[nodiscard]] Checked<void> Write(const Hive& hive, const ValueRecord& value)
    {
        Checked<DataView> data = hive.Data(value);
        const Checked<void> pieces = data ? hive.CheckPieces(*data) : tl::unexpected(data.error());
        if (!pieces) {
            return pieces;
        }
        if (IsShownAsBytes(value.type)) {
            return WriteBytes(hive, value, *data);
        }
        std::vector<BYTE> bytes(DataForCaller(hive, value, {}).value_or(0));
        const auto read = DataForCaller(hive, value, std::as_writable_bytes(std::span(bytes)));
        if (!read) {
            return tl::unexpected(read.error());
        }
        const std::string text = ValueToText(value.type, bytes, ExpandStrings::kNo);
        Begin(value);
        if (m_context.json) {
            m_context.out.Write(JsonString(text));
        } else {
            m_context.out.WriteName(text);
        }
        End();
        return {};
    }

    void OnKey(const KeyCursor& /*key*/) {}
    void OnValue(const Hive& hive, const ValueRecord& value, const DataView& /*data*/)
    {
        if (const Checked<void> written = Write(hive, value); !written) {
            m_faults.Add(hive, written.error());
        }
    }
    void OnValuesEnd()
    {
        m_faults.Tell();
        m_isDone = true;
    }
    void OnFault(const Hive& hive, const HiveFault& fault, unsigned /*depth*/) { m_faults.Add(hive, fault); }
    [[nodiscard]] bool IsStopped() const { return m_isDone; }

    /// Tells what kept the walk from the key itself.
    void Finish() { m_faults.Tell(); }

private:
    static bool IsShownAsBytes(DWORD type)
    {
        return type != REG_DWORD && type != REG_DWORD_BIG_ENDIAN && type != REG_LINK && !IsTextType(type);
    }

    /// The text of bytes is that of their parts, one behind the other: it goes out part by part, since it takes three
    /// times the room of the bytes.
    Checked<void> WriteBytes(const Hive& hive, const ValueRecord& value, DataView data)
    {
        constexpr std::size_t kAtOnce = 1 << 14;
        const char* const quote = m_context.json ? "\"" : "";
        Begin(value);
        m_context.out.Write(quote);
        Checked<void> result;
        for (auto piece = hive.NextPiece(data); piece && !piece->empty(); piece = hive.NextPiece(data)) {
            for (std::size_t at = 0; at < piece->size() && !m_context.out.IsClosed(); at += kAtOnce) {
                const auto part = piece->subspan(at, std::min(kAtOnce, piece->size() - at));
                const std::span bytes(reinterpret_cast<const BYTE*>(part.data()), part.size());
                m_context.out.Write(ValueToText(value.type, bytes, ExpandStrings::kNo));
            }
            if (hive.MediumFailed(*piece)) {
                result = Fault(Breach::kMediumFailed, value.offset);
            }
        }
        m_context.out.Write(quote);
        End();
        return result;
    }

    /// What stands before the text.
    void Begin(const ValueRecord& value)
    {
        Output& out = m_context.out;
        if (m_context.json) {
            out.Buffer().append(R"({"name":")");
            AppendJsonText(out.Buffer(), value.name);
            out.Write(fmt::format(R"(","type":{},"typeName":"{}","text":)", value.type, ValueTypeName(value.type)));
        } else if (m_withNames) {
            out.WriteName(value.name.empty() ? "(Default)" : value.name.ToUtf8());
            out.Write("\t" + ValueTypeName(value.type) + "\t");
        }
    }
    void End() { m_context.out.Write(m_context.json ? "}\n" : "\n"); }

    CommandContext& m_context;
    bool m_withNames;
    HeldFaults m_faults;
    bool m_isDone = false;
};

/// Writes the stored bytes, without the conversion of texts that the registry's calls make.
Checked<void> WriteRaw(Output& out, const Hive& hive, const ValueRecord& value)
{
    Checked<DataView> data = hive.Data(value);
    const Checked<void> pieces = data ? hive.CheckPieces(*data) : tl::unexpected(data.error());
    if (!pieces) {
        return pieces;
    }
    for (auto piece = hive.NextPiece(*data); piece && !piece->empty(); piece = hive.NextPiece(*data)) {
        out.Write({reinterpret_cast<const char*>(piece->data()), piece->size()});
        if (hive.MediumFailed(*piece)) {
            return Fault(Breach::kMediumFailed, value.offset);
        }
    }
    return {};
}

class GetCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("get", "Print the values of a key in their text form, or one of them");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        m_nameOption = app->add_option("NAME", m_name, "Name of the value; empty for the default value");
        auto* raw = app->add_flag("--raw", m_isRaw, "Print the stored bytes of the one value, and nothing else");
        app->add_flag("--number", m_isNumber, "Print the one value as a decimal number (REG_DWORD, REG_QWORD)")
            ->excludes(raw);
        return app;
    }

    void Run(CommandContext& context) override
    {
        const std::optional<KeyReference> key = FindForCommand(context, m_path);
        if (!key) {
            return;
        }
        const std::shared_lock lock(context.registry.Lock());
        if (m_isRaw || m_isNumber || m_nameOption->count() != 0) {
            GetOne(context, *key);
        } else {
            ValueWriter writer(context, true);
            KeyWalk(writer).Run(*key);
            writer.Finish();
        }
    }

private:
    void GetOne(CommandContext& context, const KeyReference& key) const
    {
        const std::optional<std::u16string> name = ToUtf16(m_name);
        if (!name || !key.HasHive()) {
            ReportMissing(context, name ? ErrorCode::kFileNotFound : ErrorCode::kNoUnicodeTranslation);
            return;
        }
        const Hive& hive = *key.hive;
        const Checked<KeyNode> node = key.Node();
        const auto value = node ? hive.FindValue(*node, *name) : tl::unexpected(node.error());
        if (value && !*value) {
            ReportMissing(context, ErrorCode::kFileNotFound);
            return;
        }
        Checked<void> written = value ? Checked<void>() : tl::unexpected(value.error());
        if (written) {
            written = m_isRaw      ? WriteRaw(context.out, hive, **value)
                      : m_isNumber ? WriteNumber(context, hive, **value)
                                   : ValueWriter(context, false).Write(hive, **value);
        }
        if (!written) {
            context.Report(hive.ToError(written.error()));
        }
    }

    [[nodiscard]] Checked<void> WriteNumber(CommandContext& context, const Hive& hive, const ValueRecord& value) const
    {
        const auto stored = hive.ReadData(value);
        if (!stored) {
            return tl::unexpected(stored.error());
        }
        const auto* const begin = reinterpret_cast<const BYTE*>(stored->data());
        const std::vector<BYTE> data(begin, begin + stored->size());
        const std::optional<std::uint64_t> number =
            NumberFromValueText(value.type, ValueToText(value.type, data, ExpandStrings::kNo));
        if (number) {
            context.out.Write(std::to_string(*number) + "\n");
        } else {
            context.Report({ErrorCode::kInvalidData, m_path + ", value " + m_name + " is no number"});
        }
        return {};
    }

    void ReportMissing(CommandContext& context, ErrorCode code) const
    {
        context.Report({code, m_path + ", value " + m_name});
    }

    std::string m_path;
    std::string m_name;
    CLI::Option* m_nameOption = nullptr;
    bool m_isRaw = false;
    bool m_isNumber = false;
};

} // namespace

std::unique_ptr<Command> MakeGetCommand()
{
    return std::make_unique<GetCommand>();
}

} // namespace tolvar
