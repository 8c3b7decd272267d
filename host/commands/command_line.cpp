#include "host/commands/command_line.hpp"

#include <CLI/CLI.hpp>

namespace quernlight::host {
namespace {

/// In the order in which the program's help lists them.
constexpr auto commands = {
    addRunCommand,     //
    addMapCommand,     //
    addQueueCommand,   //
    addConfigCommand,  //
    addMcpCommand,     //
};

}  // namespace

int runCommandLine(int argc, char** argv) {
    CLI::App program("Turns bug reports into work for a local coding agent.", "quernlight-dispatch");
    program.require_subcommand(1);
    ChosenCommand chosen;
    for (const auto& addCommand : commands) {
        addCommand(program, chosen);
    }
    CLI11_PARSE(program, argc, argv);
    return chosen();
}

}  // namespace quernlight::host
