#include <charconv>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/change_command.h"
#include "cli/input.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

/// Decimal digits, or hexadecimal ones behind "0x". Nothing for another text, or a number of more than 64 bits.
std::optional<std::uint64_t> ParseNumber(std::string_view text)
{
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = text.substr(isHexadecimal ? 2 : 0);
    std::uint64_t number = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number, isHexadecimal ? 16 : 10);
    const bool isNumber = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

class SetCommand final : public ChangeCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("set", "Set a value of a key");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        app->add_option("NAME", m_name, "Name of the value; empty for the default value")->required();
        app->add_option("--type", m_type, "Type by name (REG_SZ) or number (1)")->required();
        auto* text = app->add_option("TEXT", m_text, "The data in the text form that get prints");
        auto* input = app->add_flag("--stdin", m_isFromInput, "Read the data's bytes from standard input");
        auto* number = app->add_option("--number", m_number,
                                       "The data as a number, decimal or 0x and hexadecimal digits, "
                                       "for the types of numbers (REG_DWORD, REG_QWORD)");
        text->excludes(input);
        number->excludes(input);
        number->excludes(text);
        return app;
    }

protected:
    void Change(CommandContext& context) override
    {
        const std::optional<DWORD> type = ValueTypeFromName(m_type);
        if (!type) {
            context.Report({ErrorCode::kInvalidParameter, "type " + m_type});
            return;
        }
        if (m_number) {
            const std::optional<std::uint64_t> number = ParseNumber(*m_number);
            const std::optional<std::string> text = number ? NumberToValueText(*type, *number) : std::nullopt;
            if (!text) {
                context.Report({ErrorCode::kInvalidParameter,
                                fmt::format("{} holds no number {}", ValueTypeName(*type), *m_number)});
                return;
            }
            m_text = *text;
        }
        ChangeRecord change = ChangeRecord::NewValue(m_path, m_name, *type, m_text);
        if (m_isFromInput) {
            const Result<std::string> data = ReadInput("-");
            if (!data) {
                context.Report(data.error());
                return;
            }
            const auto* const bytes = reinterpret_cast<const BYTE*>(data->data());
            change.data = ValueToText(REG_BINARY, {bytes, data->size()}, ExpandStrings::kNo);
            change.form = DataForm::kBytes;
        } else if (!ValueFromText(*type, m_text)) {
            context.Report(
                {ErrorCode::kInvalidParameter, "this is no text form of " + ValueTypeName(*type) + ": " + m_text});
            return;
        }
        Apply(context, change);
    }

private:
    std::string m_name;
    std::string m_type;
    std::string m_text;
    std::optional<std::string> m_number;
    bool m_isFromInput = false;
};

} // namespace

std::unique_ptr<Command> MakeSetCommand()
{
    return std::make_unique<SetCommand>();
}

} // namespace tolvar
