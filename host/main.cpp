#include <csignal>
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "host/command_line/command_line.hpp"
#include "host/text/failure_sentence.hpp"

namespace quernlight::host {
namespace {

int runProgram(int argc, char** argv) {
    CLI::App program("Turns bug reports into work for a local coding agent.", "quernlight-dispatch");
    program.require_subcommand(1);
    ChosenCommand chosen;
    addRunCommand(program, chosen);
    addMapCommand(program, chosen);
    addQueueCommand(program, chosen);
    addConfigCommand(program, chosen);
    CLI11_PARSE(program, argc, argv);
    return chosen();
}

}  // namespace
}  // namespace quernlight::host

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves must not end the work
    // Whoever started this may ignore it, and then no child's exit status would be known.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        return quernlight::host::runProgram(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "quernlight-dispatch: " << quernlight::host::failureSentence(error) << std::endl;
        return 1;
    }
}
