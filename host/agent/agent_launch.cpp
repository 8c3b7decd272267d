#include "host/agent/agent_launch.hpp"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <utility>

#include <toml++/toml.h>

#include "host/process/file_content.hpp"
#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

/// A value as TOML writes it on one line.
template <class Node>
std::string tomlText(const Node& node) {
    std::ostringstream text;
    text << toml::toml_formatter{node, toml::format_flags::none};
    return text.str();
}

/// Of words or of paths.
toml::array arrayOf(const auto& values) {
    toml::array array;
    for (const auto& value : values) {
        array.push_back(fs::path(value).string());
    }
    return array;
}

toml::table inlineTable() {
    toml::table table;
    table.is_inline(true);
    return table;
}

std::string trustIn(const std::vector<fs::path>& directories) {
    toml::table projects = inlineTable();
    for (const fs::path& directory : directories) {
        toml::table trust = inlineTable();
        trust.insert("trust_level", "trusted");
        projects.insert_or_assign(directory.string(), std::move(trust));
    }
    return tomlText(projects);
}

bool isUnder(std::string_view key, std::string_view parent) {
    return key.size() > parent.size() + 1 && key.starts_with(parent) && key[parent.size()] == '.';
}

/// Whether the value, as TOML, is a table without that key. What is no table leaves no room for one.
bool leavesOpen(std::string_view value, std::string_view key) {
    try {
        const toml::table table = toml::parse("value = " + std::string(value));
        return table["value"].is_table() && !table.at_path("value." + std::string(key));
    } catch (const toml::parse_error&) {
        return false;
    }
}

/// Whether the word, "KEY=VALUE" or an option of which that is a part, sets the key, one under it, or a table
/// that holds it.
bool sets(std::string_view word, std::string_view key) {
    for (const std::string_view option : {"--config=", "-c"}) {
        word = word.starts_with(option) ? word.substr(option.size()) : word;
    }
    const std::size_t end = word.find('=');
    const std::string_view assigned = trimmed(word.substr(0, end));
    if (end == word.npos || assigned.empty()) {
        return false;
    }
    return assigned == key || isUnder(assigned, key) ||
           (isUnder(key, assigned) && !leavesOpen(word.substr(end + 1), key.substr(assigned.size() + 1)));
}

/// The agent's command while the options that it lacks are added.
class CommandLine {
  public:
    explicit CommandLine(std::vector<std::string> words) : words_(std::move(words)), own_(words_) {}

    /// Unless the person's words set that key, or one under it.
    void configure(std::string_view key, const std::string& value) {
        if (!setsKey(key)) {
            words_.insert(words_.end(), {"-c", std::string(key) + "=" + value});
        }
    }
    void add(const std::string& word) { words_.push_back(word); }

    bool hasAnyOf(const auto& options) const {
        return std::ranges::any_of(own_, [&](const std::string& word) {
            const std::string_view name = std::string_view(word).substr(0, word.find('='));
            return std::ranges::find(options, name) != options.end();
        });
    }
    bool setsKey(std::string_view key) const {
        return std::ranges::any_of(own_, [key](std::string_view word) { return sets(word, key); });
    }

    /// What follows one of these options, either way of writing it; the last counts.
    std::string valueOf(const auto& options) const {
        std::string value;
        for (auto word = own_.begin(); word != own_.end(); ++word) {
            const std::size_t end = word->find('=');
            if (std::ranges::find(options, std::string_view(*word).substr(0, end)) == options.end()) {
                continue;
            }
            value = end != word->npos               ? word->substr(end + 1)
                    : std::next(word) != own_.end() ? *std::next(word)
                                                    : value;
        }
        return value;
    }

    std::vector<std::string> words() && { return std::move(words_); }

  private:
    std::vector<std::string> words_;
    const std::vector<std::string> own_;
};

/// A person's choice of how freely the agent works is left as it is.
bool choosesFreedom(const CommandLine& line) {
    constexpr std::array<std::string_view, 8> options{"-a",
                                                      "--ask-for-approval",
                                                      "-s",
                                                      "--sandbox",
                                                      "--full-auto",
                                                      "--yolo",
                                                      "--dangerously-bypass-approvals-and-sandbox",
                                                      "--approve-for-me"};
    return line.hasAnyOf(options) || line.setsKey("approval_policy") || line.setsKey("sandbox_mode");
}

/// It writes its worktree, what git writes for it, and to the network, since it has to push; and nobody is
/// there to be asked for more.
void addFreedom(CommandLine& line, const AgentLaunch& launch) {
    if (choosesFreedom(line)) {
        return;
    }
    line.configure("approval_policy", "\"never\"");
    line.configure("sandbox_mode", "\"workspace-write\"");
    line.configure("sandbox_workspace_write.network_access", "true");
    if (!launch.writable.empty()) {
        line.configure("sandbox_workspace_write.writable_roots", tomlText(arrayOf(launch.writable)));
    }
}

constexpr std::array<std::string_view, 2> profileOptions{"--profile", "-p"};

/// Of a mapping; empty when the agent is given none.
std::string givenProfile(const std::string& profile) {
    return profile == "default" ? "" : profile;
}

/// Whether the file, or the profile's table in it, names a tool server like ours.
bool namesToolServer(const fs::path& file, const std::string& profile) {
    try {
        const toml::table table =
            toml::parse(fileContent(file, largestConfiguration, LastLink::followed).value_or(""));
        return table["mcp_servers"][toolServerName].is_table() ||
               table["profiles"][profile]["mcp_servers"][toolServerName].is_table();
    } catch (const toml::parse_error&) {
        return false;  // there is none, or the agent will say what is wrong with it
    }
}

void addToolServer(CommandLine& line, const std::vector<std::string>& command) {
    const std::string server = "mcp_servers." + std::string(toolServerName);
    if (command.empty() || line.setsKey(server)) {
        return;
    }
    line.configure(server + ".command", tomlText(toml::value<std::string>(command.front())));
    line.configure(server + ".args",
                   tomlText(arrayOf(std::vector<std::string>(command.begin() + 1, command.end()))));
    line.configure(server + ".default_tools_approval_mode", "\"approve\"");
}

}  // namespace

std::vector<std::string> agentCommandLine(const AgentLaunch& launch) {
    CommandLine line(launch.command);
    if (launch.trustsRepository) {
        line.configure("projects", trustIn({launch.repository, launch.worktree}));
    }
    addFreedom(line, launch);
    line.configure("features.goals", "true");
    line.configure("features.daemon_auto_start", "false");
    line.configure("check_for_update_on_startup", "false");
    line.configure("notice.hide_rate_limit_model_nudge", "true");
    addToolServer(line, launch.toolServer);
    constexpr std::array<std::string_view, 1> scrollBack{"--no-alt-screen"};
    if (!line.hasAnyOf(scrollBack)) {
        line.add("--no-alt-screen");
    }
    const std::string profile = line.hasAnyOf(profileOptions) ? "" : givenProfile(launch.profile);
    if (!profile.empty()) {
        line.add("--profile");
        line.add(profile);
    }
    if (launch.conversation) {
        line.add("resume");
        line.add(lowerCaseText(*launch.conversation));  // as the agent itself writes it
    }
    return std::move(line).words();
}

std::optional<std::string> ownToolServer(const AgentConfiguration& configuration) {
    const CommandLine line(configuration.command);
    if (line.setsKey("mcp_servers." + std::string(toolServerName))) {
        return "the setting agent.command";
    }
    const std::string profile =
        line.hasAnyOf(profileOptions) ? line.valueOf(profileOptions) : givenProfile(configuration.profile);
    const fs::path home = CodexSessionResolver::stateDatabaseURL(configuration.environment).parent_path();
    std::vector<fs::path> files{home / "config.toml"};
    if (!profile.empty() && fs::path(profile).filename() == profile) {
        files.push_back(home / (profile + ".config.toml"));
    }
    for (const fs::path& directory : configuration.directories) {
        files.push_back(directory / ".codex" / "config.toml");
    }
    const auto file = std::ranges::find_if(
        files, [&profile](const fs::path& known) { return namesToolServer(known, profile); });
    return file == files.end() ? std::nullopt : std::optional(file->string());
}

std::string ownToolServerName(const std::string& place) {
    return "the tool server \"" + std::string(toolServerName) + "\" of its own configuration (" + place + ")";
}

}  // namespace quernlight::host
