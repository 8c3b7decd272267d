#include <csignal>
#include <exception>
#include <iostream>

#include "host/commands/command_line.hpp"
#include "host/text/failure_sentence.hpp"

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves must not end the work
    // Whoever started this may ignore it, and then no child's exit status would be known.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        return quernlight::host::runCommandLine(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "quernlight-dispatch: " << quernlight::host::failureSentence(error) << std::endl;
        return 1;
    }
}
