#include "host/commands/command_line.hpp"

#include <algorithm>
#include <iostream>

#include <CLI/CLI.hpp>

#include "host/commands/path_option.hpp"
#include "host/commands/usage_error.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

/// In the order in which the program's help lists them.
constexpr auto commands = {
    addRunCommand,       //
    addStatusCommand,    //
    addMapCommand,       //
    addQueueCommand,     //
    addConfigCommand,    //
    addSessionsCommand,  //
    addUnpauseCommand,   //
    addMcpCommand,       //
};

int wrongUsage(const CLI::App& program, const std::string& sentence) {
    constexpr std::size_t mostShown = 2000;
    std::cerr << program.get_name() << ": " << escapedLine(sentence, mostShown) << std::endl;
    return wrongUsageStatus;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    CLI::App program("Turns bug reports into work for a local coding agent.", "quernlight-dispatch");
    program.require_subcommand(1);
    std::string home;  // which its command gets, see withHomeLast
    program.add_option("--home", home, "Dispatch home; may stand anywhere; default: the user's own");
    program.set_version_flag("--version", "quernlight-dispatch " QUERNLIGHT_VERSION);
    ChosenCommand chosen;
    for (const auto& addCommand : commands) {
        addCommand(program, chosen);
    }
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    try {
        words = withHomeLast(words);
    } catch (const CLI::ValidationError& error) {
        return wrongUsage(program, error.what());
    }
    std::ranges::reverse(words);  // as CLI11 wants them
    try {
        program.parse(std::move(words));
    } catch (const CLI::Success& asked) {  // for help, or the version
        return program.exit(asked);
    } catch (const CLI::ParseError& error) {
        return wrongUsage(program, usageSentence(program, error));
    }
    return chosen();
}

}  // namespace quernlight::host
