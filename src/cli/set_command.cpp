#include <cerrno>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "cli/command.h"
#include "registry/reg_key.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

/// All of standard input.
Result<std::vector<BYTE>> ReadStandardInput()
{
    constexpr std::size_t kBlock = 65536;
    std::vector<BYTE> bytes;
    while (true) {
        const std::size_t held = bytes.size();
        bytes.resize(held + kBlock);
        const ssize_t got = read(STDIN_FILENO, bytes.data() + held, kBlock);
        bytes.resize(held + (got > 0 ? static_cast<std::size_t>(got) : 0));
        if (got == 0) {
            return bytes;
        }
        if (got < 0 && errno != EINTR) {
            return Failure(ErrorCodeFromErrno(errno), "read standard input");
        }
    }
}

class SetCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("set", "Set a value of a key");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        app->add_option("NAME", m_name, "Name of the value; empty for the default value")->required();
        app->add_option("--type", m_type, "Type by name (REG_SZ) or number (1)")->required();
        m_textOption = app->add_option("TEXT", m_text, "The data in the text form that get prints");
        auto* input = app->add_flag("--stdin", m_isFromInput, "Read the data's bytes from standard input");
        m_textOption->excludes(input);
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return true; }

    void Run(CommandContext& context) override
    {
        const std::optional<DWORD> type = ValueTypeFromName(m_type);
        if (!type) {
            context.Report({ErrorCode::kInvalidParameter, "type " + m_type});
            return;
        }
        const Result<std::vector<BYTE>> data = Data(*type);
        if (!data) {
            context.Report(data.error());
            return;
        }
        const RegKey key(OpenForCommand(context, m_path, KEY_SET_VALUE));
        if (!key) {
            return;
        }
        const LSTATUS code =
            RegSetValueExA(key.Get(), m_name.c_str(), 0, *type, data->data(), static_cast<DWORD>(data->size()));
        if (code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), m_path + ", value " + m_name});
        }
    }

private:
    [[nodiscard]] Result<std::vector<BYTE>> Data(DWORD type) const
    {
        if (m_isFromInput) {
            return ReadStandardInput();
        }
        std::optional<std::vector<BYTE>> data = ValueFromText(type, m_text);
        if (!data) {
            return Failure(ErrorCode::kInvalidParameter,
                           "this is no text form of " + ValueTypeName(type) + ": " + m_text);
        }
        return *std::move(data);
    }

    std::string m_path;
    std::string m_name;
    std::string m_type;
    std::string m_text;
    CLI::Option* m_textOption = nullptr;
    bool m_isFromInput = false;
};

} // namespace

std::unique_ptr<Command> MakeSetCommand()
{
    return std::make_unique<SetCommand>();
}

} // namespace tolvar
