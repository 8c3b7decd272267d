#include <algorithm>
#include <sstream>

#include "host/doctor/agent_checks.hpp"

namespace quernlight::host {
namespace {

Finding warning(const std::string& check, const std::string& seen, const std::string& advice) {
    return {.check = check, .verdict = Verdict::warning, .seen = seen, .advice = advice};
}

/// Of a provider that its configuration names.
Finding providerFinding(const LoginFacts& facts) {
    const std::string named = "Its configuration names the model provider \"" + facts.provider + "\"";
    if (facts.keyVariable.empty()) {
        return {.check = "agent login", .seen = named + ", which wants no login."};
    }
    if (facts.keyReachesIt) {
        return {.check = "agent login", .seen = named + ", whose key is in " + facts.keyVariable + "."};
    }
    return warning("agent login", named + ", whose key " + facts.keyVariable + " agents would not get.",
                   "Set it where run is started, and: quernlight-dispatch config set agent.environment " +
                       facts.keyVariable);
}

}  // namespace

Finding versionFinding(const AgentAnswer& version, const std::string& program) {
    if (!version.hasEnded) {
        return warning("agent", program + " did not tell its version in time.",
                       "Run it yourself: " + program + " --version");
    }
    if (version.exitCode != 0) {
        return {.check = "agent",
                .verdict = Verdict::stops,
                .seen = program + " --version ended with status " + std::to_string(version.exitCode) + ": " +
                        firstLine(version),
                .advice = "Install the agent anew, or check the setting agent.command."};
    }
    return {.check = "agent", .seen = firstLine(version) + ", at " + program + "."};
}

Finding loginFinding(const LoginFacts& facts) {
    if (!facts.provider.empty()) {
        return providerFinding(facts);
    }
    if (facts.hasKey) {
        return {.check = "agent login", .seen = "Its environment holds a key (OPENAI_API_KEY)."};
    }
    if (facts.status.hasEnded && facts.status.exitCode == 0) {
        return {.check = "agent login", .seen = "It says that it is logged in (login status)."};
    }
    const bool saysNot =
        facts.status.hasEnded && facts.status.output.find("ot logged in") != std::string::npos;
    if (saysNot) {
        return {.check = "agent login",
                .verdict = Verdict::stops,
                .seen =
                    "It says that it is not logged in (login status), and its configuration names no "
                    "other model provider.",
                .advice = "Log in: codex login"};
    }
    if (facts.hasLoginFile) {
        return {.check = "agent login", .seen = "There is an auth.json in its home."};
    }
    return warning("agent login",
                   "Whether it is logged in cannot be told: there is no auth.json in its home.",
                   "Start it once by hand and see.");
}

Finding goalsFinding(const AgentAnswer& features) {
    std::istringstream lines(features.output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        std::string stage;
        words >> name >> stage;
        if (name == "goals" && stage != "removed") {
            return {.check = "agent goals", .seen = "It has /goal (features list)."};
        }
    }
    if (features.hasEnded && features.exitCode == 0) {
        return {.check = "agent goals",
                .verdict = Verdict::stops,
                .seen = "It has no /goal: its features list does not name it.",
                .advice = "Install a version of the agent that has it."};
    }
    return warning("agent goals", "Whether it has /goal cannot be told: it did not list its features.",
                   "Start it by hand and type /goal.");
}

}  // namespace quernlight::host
