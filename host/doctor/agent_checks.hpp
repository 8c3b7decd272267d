#pragma once

#include <optional>
#include <string>

#include "host/agent/agent_answer.hpp"
#include "host/doctor/examination.hpp"

namespace quernlight::host {

/// The agent's program and its version.
Task<Findings> checkAgent(const Examined& examined);

Task<Findings> checkLogin(const Examined& examined);
Task<Findings> checkGoals(const Examined& examined);

/// A tool server of its own configuration, and whether ours answers.
Task<Findings> checkToolServer(const Examined& examined);

/// Where the agent keeps its records of goals and conversations.
Task<Findings> checkRecords(const Examined& examined);

Task<Findings> checkAgentService(const Examined& examined);
Task<Findings> checkTrust(const Examined& examined);

/// All that tells of a login without its account. No secret is in it.
struct LoginFacts {
    AgentAnswer status{};       ///< of "login status"
    bool hasLoginFile = false;  ///< auth.json in the agent's home
    bool hasKey = false;        ///< a key of the agent's own provider in its environment
    std::string provider{};     ///< of models, when its configuration names another than its own
    std::string keyVariable{};  ///< which that provider wants
    bool keyReachesIt = false;  ///< that variable is in the agent's environment
};

Finding loginFinding(const LoginFacts& facts);

/// What "features list" tells of /goal.
Finding goalsFinding(const AgentAnswer& features);

/// Of "--version".
Finding versionFinding(const AgentAnswer& version, const std::string& program);

}  // namespace quernlight::host
