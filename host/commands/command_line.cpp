#include "host/commands/command_line.hpp"

#include <iostream>

#include <CLI/CLI.hpp>

#include "host/commands/usage_error.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

/// In the order in which the program's help lists them.
constexpr auto commands = {
    addRunCommand,       //
    addMapCommand,       //
    addQueueCommand,     //
    addConfigCommand,    //
    addSessionsCommand,  //
    addUnpauseCommand,   //
    addMcpCommand,       //
};

}  // namespace

int runCommandLine(int argc, char** argv) {
    CLI::App program("Turns bug reports into work for a local coding agent.", "quernlight-dispatch");
    program.require_subcommand(1);
    program.set_version_flag("--version", "quernlight-dispatch " QUERNLIGHT_VERSION);
    ChosenCommand chosen;
    for (const auto& addCommand : commands) {
        addCommand(program, chosen);
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& asked) {  // for help, or the version
        return program.exit(asked);
    } catch (const CLI::ParseError& error) {
        constexpr std::size_t mostShown = 2000;
        std::cerr << program.get_name() << ": " << escapedLine(usageSentence(program, error), mostShown)
                  << std::endl;
        return wrongUsageStatus;
    }
    return chosen();
}

}  // namespace quernlight::host
