#include "host/commands/command_line.hpp"

#include <algorithm>
#include <iostream>

#include <CLI/CLI.hpp>

#include "host/commands/command_tree.hpp"
#include "host/commands/completion_command.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/usage_error.hpp"
#include "host/manual/help_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

/// In the order in which the program's help lists them.
constexpr auto commands = {
    addRunCommand,         //
    addStatusCommand,      //
    addWatchCommand,       //
    addMapCommand,         //
    addQueueCommand,       //
    addBugsCommand,        //
    addAnswerCommand,      //
    addReviewCommand,      //
    addPreservedCommand,   //
    addReportCommand,      //
    addConfigCommand,      //
    addSessionsCommand,    //
    addUnpauseCommand,     //
    addInitCommand,        //
    addServiceCommand,     //
    addMcpCommand,         //
    addManCommand,         //
    addCompletionCommand,  //
    addTokenCommand,       //
    addDoctorCommand,      //
};

/// The whole command line, before it is read.
struct CommandLine {
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Returns what is wrong with these words, if anything is; throws CLI::Success when help or the version
    /// was asked for.
    std::optional<std::string> read(std::vector<std::string> words);

    CLI::App program{"Turns bug reports into work for a local coding agent.", std::string(programName)};
    std::string home;  // which its command gets, see withHomeLast
    ChosenCommand chosen;
};

CommandLine::CommandLine() {
    program.require_subcommand(1);
    program.set_help_flag("-h,--help", "Print this help");
    program.add_option("--home", home, "Dispatch home; may stand anywhere; default: the user's own");
    program.set_version_flag("--version", std::string(programName) + " " QUERNLIGHT_VERSION,
                             "Print the version");
    program.formatter_fn([](const CLI::App* command, const std::string&, CLI::AppFormatMode) {
        return helpText(descriptionOf(*command), helpColumns());
    });
    for (const auto& addCommand : commands) {
        addCommand(program, chosen);
    }
    nameValues(program);
}

std::optional<std::string> CommandLine::read(std::vector<std::string> words) {
    try {
        words = withHomeLast(words);
    } catch (const CLI::ValidationError& error) {
        return error.what();
    }
    std::ranges::reverse(words);  // as CLI11 wants them
    try {
        program.parse(std::move(words));
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError& error) {
        return usageSentence(program, error);
    }
    return std::nullopt;
}

/// "help queue list" is "queue list --help", and "version" is "--version".
std::vector<std::string> withHelpAsOption(std::vector<std::string> words) {
    if (words == std::vector<std::string>{"version"}) {
        return {"--version"};
    }
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

int wrongUsage(const std::string& sentence) {
    constexpr std::size_t mostShown = 2000;
    std::cerr << programName << ": " << escapedLine(sentence, mostShown) << std::endl;
    return wrongUsageStatus;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    CommandLine line;
    const std::vector<std::string> words = withHelpAsOption({argv + std::min(argc, 1), argv + argc});
    if (!words.empty() && words.front() == completeWord) {
        return completeWords(descriptionOf(line.program), {words.begin() + 1, words.end()});
    }
    try {
        if (const auto trouble = line.read(words)) {
            return wrongUsage(*trouble);
        }
    } catch (const CLI::Success& asked) {
        return line.program.exit(asked);
    }
    return line.chosen();
}

std::optional<std::string> usageTrouble(const std::vector<std::string>& words) {
    CommandLine line;
    try {
        return line.read(words);
    } catch (const CLI::Success&) {
        return std::nullopt;
    }
}

CommandDescription describedProgram() {
    const CommandLine line;
    return descriptionOf(line.program);
}

}  // namespace quernlight::host
