#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// The name under which the agent knows our tool server.
inline constexpr std::string_view toolServerName = "quernlight";

/// What one launch of the agent is made of.
struct AgentLaunch {
    std::vector<std::string> command{};             ///< the setting agent.command; not empty
    std::filesystem::path repository{};             ///< the app's checkout
    std::filesystem::path worktree{};               ///< where the agent works
    std::vector<std::filesystem::path> writable{};  ///< what it writes besides
    bool trustsRepository = true;                   ///< else the agent asks a person
    std::string profile{};                          ///< of its configuration; "default" or empty: none
    std::vector<std::string> toolServer{};          ///< our tool server's command; empty: none
    std::optional<Uuid> conversation{};             ///< to go on with; absent: a new one
};

/// The agent's command line. What lets it work without a person (trust, a sandbox in which it can commit and
/// push, no questions, no background service, goals, our tool server) is added as options of its
/// configuration behind the person's own words, but for those that the person sets.
std::vector<std::string> agentCommandLine(const AgentLaunch& launch);

/// Where the agent's own configuration may lie.
struct AgentConfiguration {
    EnvironmentMap environment{};                      ///< the agent's
    std::vector<std::string> command{};                ///< the setting agent.command
    std::string profile{};                             ///< of the mapping
    std::vector<std::filesystem::path> directories{};  ///< repository and worktree
};

/// Where the agent's own configuration names a tool server like ours, which then stays in force: a file, or
/// "the setting agent.command". Nothing when it does not.
std::optional<std::string> ownToolServer(const AgentConfiguration& configuration);

/// How that one is told of.
std::string ownToolServerName(const std::string& place);

}  // namespace quernlight::host
