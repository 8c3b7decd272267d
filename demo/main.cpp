#include <csignal>
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "demo/demo.hpp"
#include "host/commands/path_option.hpp"
#include "host/text/failure_sentence.hpp"

namespace quernlight::demo {
namespace {

int runProgram(int argc, char** argv) {
    CLI::App program("Runs three sample bugs end to end, on this machine only.", "quernlight-dispatch-demo");
    DemoOptions options;
    host::addPathOption(program, "--home", options.home,
                        "Directory for all that the demo makes; default: a temporary one");
    program.add_flag("--keep", options.keep, "Leave everything there to look at");
    CLI11_PARSE(program, argc, argv);
    return runDemo(options);
}

}  // namespace
}  // namespace quernlight::demo

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves must not end the work
    // Whoever started this may ignore it, and then no child's exit status would be known.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        return quernlight::demo::runProgram(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "quernlight-dispatch-demo: " << quernlight::host::failureSentence(error) << std::endl;
        return 1;
    }
}
