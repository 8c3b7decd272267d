#include <csignal>
#include <exception>
#include <iostream>

#include "host/commands/command_line.hpp"
#include "host/process/standard_output.hpp"
#include "host/text/failure_sentence.hpp"

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves must not end the work
    // Whoever started this may ignore it, and then no child's exit status would be known.
    std::signal(SIGCHLD, SIG_DFL);
    quernlight::host::occupyClosedStreams();
    try {
        quernlight::host::StandardOutput output;
        const int status = quernlight::host::runCommandLine(argc, argv);
        output.finish();
        return status;
    } catch (const std::exception& error) {
        std::cerr << "quernlight-dispatch: " << quernlight::host::failureSentence(error) << std::endl;
        return 1;
    }
}
