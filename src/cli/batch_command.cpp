#include <algorithm>
#include <optional>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/change_command.h"
#include "cli/input.h"

namespace tolvar {

namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr const char* kQuoting =
    "Blanks part the words of a line. Quotes keep them together: in single quotes all stands for itself; in double "
    "quotes too, but for two double quotes, which stand for one. A closing quote ends its word. A backslash is always "
    "itself.";

using Words = tl::expected<std::vector<std::string>, std::string_view>;

/// Takes a quoted text that `line` begins with off it, and appends it to `word`. Answers what is wrong; empty: nothing.
std::string_view TakeQuoted(std::string_view& line, std::string& word)
{
    const char quote = line.front();
    while (true) {
        const std::size_t end = line.find(quote, 1);
        if (end == std::string_view::npos) {
            return "a quote is not closed";
        }
        word.append(line.substr(1, end - 1));
        line.remove_prefix(end + 1);
        if (quote != '"' || !line.starts_with('"')) {
            break;
        }
        word.push_back(quote);
    }
    const bool isEnd = line.empty() || kBlanks.find(line.front()) != std::string_view::npos;
    return isEnd ? "" : "a closing quote has to end its word";
}

/// The words of a line (see kQuoting), or what is wrong with it.
Words SplitWords(std::string_view line)
{
    if (line.find('\0') != std::string_view::npos) {
        return tl::unexpected(std::string_view("no word can hold a NUL"));
    }
    std::vector<std::string> words;
    while (true) {
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
        if (line.empty()) {
            return words;
        }
        std::string& word = words.emplace_back();
        while (!line.empty() && kBlanks.find(line.front()) == std::string_view::npos) {
            if (line.front() == '"' || line.front() == '\'') {
                if (const std::string_view wrong = TakeQuoted(line, word); !wrong.empty()) {
                    return tl::unexpected(wrong);
                }
                continue;
            }
            const std::size_t end = std::min(line.find_first_of(" \t\r\"'"), line.size());
            word.append(line.substr(0, end));
            line.remove_prefix(end);
        }
    }
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
        app->add_option("FILE", m_file, "The file, or - for standard input; lines that begin with # are passed over")
            ->required();
        app->footer(kQuoting);
        return app;
    }

    [[nodiscard]] bool IsWriting() const override { return true; }
    [[nodiscard]] std::optional<JournalAccess> UsesJournal() const override { return JournalAccess::kChange; }

    void Run(CommandContext& context) override
    {
        if (context.journal == nullptr) {
            context.Report({ErrorCode::kWriteProtect, "the registry"});
            return;
        }
        const std::optional<std::vector<Step>> steps = ReadSteps(context);
        if (!steps) { // nothing has been done yet
            return;
        }
        const bool wasFlushed = !context.registry.IsChanged();
        ChangeGroup group(*context.journal);
        for (const Step& step : *steps) {
            if (!IsDone(context, *step.command)) {
                UndoReport report = group.TakeBack();
                if (wasFlushed && report.failures.empty()) { // what is left of the batch are last write times
                    if (auto reverted = context.registry.Revert(); !reverted) {
                        report.failures.push_back({std::move(reverted.error()), {}});
                    }
                }
                ReportTakenBack(context, step, report);
                return;
            }
        }
        if (const Result<void> committed = group.Commit(); !committed) {
            context.Report(committed.error());
        }
    }

private:
    [[nodiscard]] std::string Name() const { return m_file == "-" ? "standard input" : m_file; }

    /// Runs a step. What was reported before it, of a hive or of the journal, is no failure of its own.
    static bool IsDone(CommandContext& context, Command& command)
    {
        const bool hadFailed = std::exchange(context.hasFailed, false);
        command.Run(context);
        const bool isDone = !context.hasFailed;
        context.hasFailed = context.hasFailed || hadFailed;
        return isDone;
    }

    void ReportTakenBack(CommandContext& context, const Step& failed, const UndoReport& report) const
    {
        for (const Error& error : report.failures) {
            context.Report(error);
        }
        const std::size_t left = report.failures.size();
        context.Tell(fmt::format("{}: line {} failed; {} changes undone{}", Name(), failed.line, report.undone,
                                 left != 0 ? fmt::format(", {} could not be", left) : ""));
    }

    /// All steps; nothing where one can't be understood, which is reported.
    [[nodiscard]] std::optional<std::vector<Step>> ReadSteps(CommandContext& context) const
    {
        const Result<std::string> text = ReadInput(m_file);
        if (!text) {
            context.Report(text.error());
            return std::nullopt;
        }
        std::vector<Step> steps;
        std::size_t number = 0;
        for (std::string_view rest = *text; !rest.empty();) {
            const std::size_t end = rest.find('\n');
            const std::string_view line = rest.substr(0, end);
            rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
            Step step{++number, nullptr};
            const std::size_t begin = line.find_first_not_of(kBlanks);
            if (begin == std::string_view::npos || line[begin] == '#') {
                continue;
            }
            const Words words = SplitWords(line);
            const std::string wrong = words ? ParseStep(*words, step) : std::string(words.error());
            if (!wrong.empty()) {
                context.Report({ErrorCode::kInvalidParameter, fmt::format("{}: line {}: {}", Name(), number, wrong)});
                return std::nullopt;
            }
            steps.push_back(std::move(step));
        }
        return steps;
    }

    std::string m_file;
};

} // namespace

std::unique_ptr<Command> MakeBatchCommand()
{
    return std::make_unique<BatchCommand>();
}

} // namespace tolvar
