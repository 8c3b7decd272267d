#pragma once

#include <string>
#include <vector>

namespace quernlight::standin::codex {

/// What the command line asks for. Options that a real agent has and this one has no use for are accepted and
/// ignored.
struct CommandLine {
    bool showVersion = false;
    bool resume = false;
    std::string resumeID;  ///< with `resume`; may be empty

    bool operator==(const CommandLine&) const = default;
};

/// Reads the arguments that follow the program's name.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

}  // namespace quernlight::standin::codex
