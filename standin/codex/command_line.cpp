#include "standin/codex/command_line.hpp"

#include <algorithm>

namespace quernlight::standin::codex {

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine commandLine;
    commandLine.showVersion = std::find(arguments.begin(), arguments.end(), "--version") != arguments.end();
    auto argument = std::find(arguments.begin(), arguments.end(), "resume");
    commandLine.resume = argument != arguments.end();
    while (argument != arguments.end() && ++argument != arguments.end()) {
        if (!argument->starts_with('-')) {
            commandLine.resumeID = *argument;
            break;
        }
    }
    return commandLine;
}

}  // namespace quernlight::standin::codex
