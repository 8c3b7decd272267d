#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::standin::codex {

/// What the command line asks for. Options that a real agent has and this one has no use for are accepted and
/// ignored.
struct CommandLine {
    bool showVersion = false;
    bool listFeatures = false;  ///< "features list"
    bool showLogin = false;     ///< "login status"
    bool resume = false;
    std::string resumeID;  ///< with `resume`; may be empty
    std::vector<std::string>
        toolServer{};  ///< how to start it, from "-c mcp_servers.quernlight.…"; empty: none

    bool operator==(const CommandLine&) const = default;
};

/// Reads the arguments that follow the program's name.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// The two kinds of TOML values that a tool server's settings have. Nothing for any other text.

/// "text" or 'text'
std::optional<std::string> parseTomlText(std::string_view value);

/// ["text", 'text']
std::optional<std::vector<std::string>> parseTomlTexts(std::string_view value);

}  // namespace quernlight::standin::codex
