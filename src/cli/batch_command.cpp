#include <algorithm>
#include <fstream>
#include <optional>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/change_command.h"

namespace tolvar {

namespace {

/// The words of a line, as a shell splits them but for the backslash, which is part of every path: blanks part them,
/// single or double quotes keep blanks together. Nothing where a quote is not closed.
std::optional<std::vector<std::string>> SplitWords(std::string_view line)
{
    std::vector<std::string> words;
    bool isInWord = false;
    char quote = '\0';
    for (const char c : line) {
        if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
            quote = quote != '\0' ? '\0' : c;
            if (!isInWord) {
                words.emplace_back();
            }
            isInWord = true;
        } else if (quote == '\0' && (c == ' ' || c == '\t' || c == '\r')) {
            isInWord = false;
        } else {
            if (!isInWord) {
                words.emplace_back();
            }
            isInWord = true;
            words.back().push_back(c);
        }
    }
    return quote == '\0' ? std::optional(std::move(words)) : std::nullopt;
}

/// One line that was understood.
struct Step {
    std::size_t line;
    std::unique_ptr<Command> command;
};

/// The commands that a line may hold.
struct LineCommand {
    std::string_view name;
    std::unique_ptr<Command> (*make)();
};
constexpr LineCommand kLineCommands[] = {
    {"set", MakeSetCommand}, {"new", MakeNewCommand}, {"rm", MakeRmCommand}, {"mv", MakeMvCommand}};

/// A command that changes something, from its words. Answers what is wrong with them.
std::string ParseStep(std::vector<std::string> words, Step& step)
{
    const auto known = std::ranges::find(kLineCommands, std::string_view(words.front()), &LineCommand::name);
    if (known == std::end(kLineCommands)) {
        return "a line holds one of set, new, rm and mv";
    }
    if (std::ranges::find(words, "--stdin") != words.end()) {
        return "--stdin has no place in a batch";
    }
    CLI::App syntax("", "tolvar");
    step.command = known->make();
    step.command->Register(syntax);
    std::ranges::reverse(words); // the parser takes them from the back
    try {
        syntax.parse(words);
    } catch (const CLI::ParseError& error) {
        return error.what();
    }
    return {};
}

class BatchCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand(
            "batch", "Run the set, new, rm and mv commands of a file, one a line: all of them, or none");
        app->add_option("FILE", m_file, "The file; lines that begin with # are passed over")->required();
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return true; }
    [[nodiscard]] JournalUse UsesJournal() const override { return JournalUse::kChange; }

    void Run(CommandContext& context) override
    {
        std::vector<Step> steps;
        if (context.journal == nullptr) {
            context.Report({ErrorCode::kWriteProtect, "the registry"});
            return;
        }
        if (!ReadSteps(context, steps)) { // nothing has been done yet
            return;
        }
        ChangeGroup group(*context.journal);
        for (const Step& step : steps) {
            step.command->Run(context);
            if (context.hasFailed) {
                const UndoReport undone = group.TakeBack();
                for (const Error& error : undone.failures) {
                    context.Report(error);
                }
                context.Report({ErrorCode::kInvalidFunction,
                                fmt::format("{}: line {} failed; {} changes before it were undone, {} could not be",
                                            m_file, step.line, undone.undone, undone.failures.size())});
                return;
            }
        }
        if (const Result<void> committed = group.Commit(); !committed) {
            context.Report(committed.error());
        }
    }

private:
    bool ReadSteps(CommandContext& context, std::vector<Step>& steps) const
    {
        std::ifstream lines(m_file);
        if (!lines) {
            context.Report({ErrorCodeFromErrno(errno), "open " + m_file});
            return false;
        }
        std::size_t number = 0;
        for (std::string line; std::getline(lines, line);) {
            ++number;
            const std::optional<std::vector<std::string>> words = SplitWords(line);
            if (words && (words->empty() || words->front().starts_with('#'))) {
                continue;
            }
            Step step{number, nullptr};
            const std::string wrong = words ? ParseStep(*words, step) : "a quote is not closed";
            if (!wrong.empty()) {
                context.Report({ErrorCode::kInvalidParameter, fmt::format("{}: line {}: {}", m_file, number, wrong)});
                return false;
            }
            steps.push_back(std::move(step));
        }
        return true;
    }

    std::string m_file;
};

} // namespace

std::unique_ptr<Command> MakeBatchCommand()
{
    return std::make_unique<BatchCommand>();
}

} // namespace tolvar
