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

    // From "-c KEY=VALUE" and the options of the same meaning.
    std::string projects{};       ///< the table of directories and how far they are trusted
    bool hasGoals = false;        ///< features.goals
    bool startsService = true;    ///< features.daemon_auto_start
    bool looksForUpdates = true;  ///< check_for_update_on_startup
    bool alternateScreen = true;  ///< unless --no-alt-screen

    bool operator==(const CommandLine&) const = default;
};

/// Whether a table of projects, an inline table of TOML, trusts the directory.
bool trusts(std::string_view projects, const std::string& directory);

/// Reads the arguments that follow the program's name.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// The two kinds of TOML values that a tool server's settings have. Nothing for any other text.

/// "text" or 'text'
std::optional<std::string> parseTomlText(std::string_view value);

/// ["text", 'text']
std::optional<std::vector<std::string>> parseTomlTexts(std::string_view value);

}  // namespace quernlight::standin::codex
