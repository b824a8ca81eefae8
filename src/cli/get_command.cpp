#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/walk_line.h"
#include "platform/registry/caller_data.h"
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
    [[nodiscard]] std::optional<KeyFault> Write(const ValueCursor& value)
    {
        if (const std::optional<KeyFault> fault = value.CheckData(); fault) {
            return fault;
        }
        if (IsShownAsBytes(value.Type())) {
            return WriteBytes(value);
        }
        std::vector<BYTE> bytes;
        if (const std::optional<KeyFault> fault = value.ReadForCaller(bytes); fault) {
            return fault;
        }
        const std::string text = ValueToText(value.Type(), bytes, ExpandStrings::kNo);
        Begin(value);
        if (m_context.json) {
            m_context.out.Write(JsonString(text));
        } else {
            m_context.out.WriteName(text);
        }
        End();
        return std::nullopt;
    }

    void OnKey(const KeyCursor& /*key*/) {}
    void OnValue(const ValueCursor& value)
    {
        if (const std::optional<KeyFault> fault = Write(value); fault) {
            m_faults.Add(*fault);
        }
    }
    void OnValuesEnd()
    {
        m_faults.Tell();
        m_isDone = true;
    }
    void OnFault(const KeyFault& fault) { m_faults.Add(fault); }
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
    std::optional<KeyFault> WriteBytes(const ValueCursor& value)
    {
        constexpr std::size_t kAtOnce = 1 << 14;
        const char* const quote = m_context.json ? "\"" : "";
        Begin(value);
        m_context.out.Write(quote);
        const std::optional<KeyFault> fault = value.ForEachPiece([&](std::span<const std::byte> piece) {
            for (std::size_t at = 0; at < piece.size() && !m_context.out.IsClosed(); at += kAtOnce) {
                const auto part = piece.subspan(at, std::min(kAtOnce, piece.size() - at));
                const std::span bytes(reinterpret_cast<const BYTE*>(part.data()), part.size());
                m_context.out.Write(ValueToText(value.Type(), bytes, ExpandStrings::kNo));
            }
        });
        m_context.out.Write(quote);
        End();
        return fault;
    }

    /// What stands before the text.
    void Begin(const ValueCursor& value)
    {
        Output& out = m_context.out;
        if (m_context.json) {
            out.Buffer().append(R"({"name":")");
            AppendJsonText(out.Buffer(), value.Name());
            out.Write(fmt::format(R"(","type":{},"typeName":"{}","text":)", value.Type(), ValueTypeName(value.Type())));
        } else if (m_withNames) {
            out.WriteName(value.Name().empty() ? "(Default)" : value.Name().ToUtf8());
            out.Write("\t" + ValueTypeName(value.Type()) + "\t");
        }
    }
    void End() { m_context.out.Write(m_context.json ? "}\n" : "\n"); }

    CommandContext& m_context;
    bool m_withNames;
    HeldFaults m_faults;
    bool m_isDone = false;
};

/// Writes the stored bytes, without the conversion of texts that the registry's calls make.
std::optional<KeyFault> WriteRaw(Output& out, const ValueCursor& value)
{
    if (const std::optional<KeyFault> fault = value.CheckData(); fault) {
        return fault;
    }
    return value.ForEachPiece([&out](std::span<const std::byte> piece) {
        out.Write({reinterpret_cast<const char*>(piece.data()), piece.size()});
    });
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
        const std::optional<KeyRef> key = FindForCommand(context, m_path);
        if (!key) {
            return;
        }
        WalkPermit permit(context.registry);
        if (m_isRaw || m_isNumber || m_nameOption->count() != 0) {
            GetOne(context, *key);
        } else {
            ValueWriter writer(context, true);
            KeyWalk(permit, writer).Run(*key);
            writer.Finish();
        }
    }

private:
    void GetOne(CommandContext& context, const KeyRef& key) const
    {
        const std::optional<std::u16string> name = ToUtf16(m_name);
        if (!name) {
            ReportMissing(context, ErrorCode::kNoUnicodeTranslation);
            return;
        }
        std::optional<KeyFault> fault;
        const tl::expected<bool, KeyFault> found = VisitValue(key, *name, [&](const ValueCursor& value) {
            fault = m_isRaw      ? WriteRaw(context.out, value)
                    : m_isNumber ? WriteNumber(context, value)
                                 : ValueWriter(context, false).Write(value);
        });
        if (found && !*found) {
            ReportMissing(context, ErrorCode::kFileNotFound);
        } else if (!found || fault) {
            context.Report((found ? *fault : found.error()).ToError());
        }
    }

    [[nodiscard]] std::optional<KeyFault> WriteNumber(CommandContext& context, const ValueCursor& value) const
    {
        const auto stored = value.StoredData();
        if (!stored) {
            return stored.error();
        }
        const auto* const begin = reinterpret_cast<const BYTE*>(stored->data());
        const std::vector<BYTE> data(begin, begin + stored->size());
        const std::optional<std::uint64_t> number =
            NumberFromValueText(value.Type(), ValueToText(value.Type(), data, ExpandStrings::kNo));
        if (number) {
            context.out.Write(std::to_string(*number) + "\n");
        } else {
            context.Report({ErrorCode::kInvalidData, m_path + ", value " + m_name + " is no number"});
        }
        return std::nullopt;
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
