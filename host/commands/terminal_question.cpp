#include "host/commands/terminal_question.hpp"

#include <iostream>

#include <unistd.h>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {

bool canAsk() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

bool confirmed(const std::string& question) {
    std::cout << question << " [y/N] " << std::flush;
    std::string line;
    std::getline(std::cin, line);
    const std::string answer = lowercased(trimmed(line));
    return answer == "y" || answer == "yes";
}

}  // namespace quernlight::host
