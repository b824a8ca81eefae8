#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "key_text/read_key_text.h"
#include "key_text/write_key_text.h"
#include "platform/registry/key_image.h"
#include "platform/registry/key_path.h"
#include "registry/reg_key.h"

namespace tolvar {

namespace {

constexpr const char* kHive = "hive";
constexpr const char* kText = "tvr";
constexpr const char* kStandardOutput = "-";

/// A command that moves keys to or from a file.
class TransferCommand : public Command {
protected:
    void AddFormat(CLI::App& app)
    {
        app.add_option("--format", m_format, "Format of the file: hive, or tvr for the text of sections and values")
            ->required()
            ->check(CLI::IsMember({kHive, kText}));
    }
    [[nodiscard]] bool IsText() const { return m_format == kText; }

    static void ReportCode(CommandContext& context, LSTATUS code, const std::string& what)
    {
        if (code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), what});
        }
    }

    std::string m_path;
    std::string m_file;

private:
    std::string m_format;
};

class ExportCommand final : public TransferCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("export", "Save a key and all below it to a file");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        app->add_option(
               "FILE", m_file,
               "The file: a new one for a hive, a text is replaced; - is standard output, and a pipe or device "
               "is written through")
            ->required();
        AddFormat(*app);
        return app;
    }

    void Run(CommandContext& context) override
    {
        m_path.resize(TrimPathEnd(m_path).size());
        const RegKey key(OpenForCommand(context, m_path, KEY_READ));
        if (!key) {
            return;
        }
        if (IsText()) {
            ExportText(context);
        } else if (m_file != kStandardOutput) {
            ReportCode(context, RegSaveKeyA(key.Get(), m_file.c_str(), nullptr), m_path + ", file " + m_file);
        } else if (const Result<std::vector<std::byte>> content = ImageOfKey(key.Get()); content) {
            context.out.Write({reinterpret_cast<const char*>(content->data()), content->size()});
        } else {
            context.Report(content.error());
        }
    }

private:
    void ExportText(CommandContext& context) const
    {
        const auto print = [&context](std::string_view piece) {
            context.out.Write(piece);
            return context.out.IsClosed() ? Failure(ErrorCode::kIoDevice) : Result<void>();
        };
        const Result<KeyTextLosses> losses = m_file == kStandardOutput
                                                 ? WriteKeyText(m_path, KeyTextForm::kAbsolute, print)
                                                 : WriteKeyTextFile(m_path, KeyTextForm::kAbsolute, m_file);
        if (!losses && !context.out.IsClosed()) {
            context.Report(losses.error());
        } else if (losses && losses->count != 0) {
            context.Tell(fmt::format("{} keys or values were left out, or will not come back the same, since the text "
                                     "form can't hold them; the first: {}",
                                     losses->count, losses->first));
        }
    }
};

class ImportCommand final : public TransferCommand {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand(
            "import", "Put the content of a hive file in the place of a key's, or add what a text file holds");
        app->add_option("FILE", m_file, "The file")->required();
        app->add_option("--key", m_path, "Full path of the key whose content a hive file replaces");
        AddFormat(*app);
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return true; }

    void Run(CommandContext& context) override
    {
        if (IsText() != m_path.empty()) {
            context.Report({ErrorCode::kInvalidParameter,
                            IsText() ? "--key: a text file names its keys itself" : "a hive file needs --key"});
            return;
        }
        if (IsText()) {
            ImportText(context);
        } else if (const RegKey key(OpenForCommand(context, m_path, KEY_ALL_ACCESS)); key) {
            ReportCode(context, RegRestoreKeyA(key.Get(), m_file.c_str(), 0), m_path + ", file " + m_file);
        }
    }

private:
    void ImportText(CommandContext& context) const
    {
        const Result<KeyTextReading> reading = ReadKeyFile(m_file);
        if (!reading) {
            context.Report(reading.error());
        } else if (reading->skipped != 0) {
            context.Report({ErrorCode::kInvalidData, fmt::format("{}: {} lines could not be taken over, {} values were",
                                                                 m_file, reading->skipped, reading->applied)});
        }
    }
};

} // namespace

std::unique_ptr<Command> MakeExportCommand()
{
    return std::make_unique<ExportCommand>();
}

std::unique_ptr<Command> MakeImportCommand()
{
    return std::make_unique<ImportCommand>();
}

} // namespace tolvar
