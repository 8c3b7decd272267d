#include "host/doctor/agent_checks.hpp"

#include <algorithm>
#include <set>

#include <toml++/toml.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "host/agent/agent_environment.hpp"
#include "host/agent/agent_launch.hpp"
#include "host/process/file_content.hpp"
#include "host/tools/tool_access.hpp"
#include "quernlight/dispatch/codex_session_resolver.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

EnvironmentMap environmentOf(const Examined& examined) {
    return agentEnvironment(examined.environment, examined.settings.agentEnvironment);
}

fs::path agentHome(const Examined& examined) {
    return CodexSessionResolver::stateDatabaseURL(environmentOf(examined)).parent_path();
}

AgentCommand commandOf(const Examined& examined) {
    return {.words = examined.settings.agentCommand, .environment = environmentOf(examined)};
}

Task<AgentAnswer> askAgent(const Examined& examined, std::vector<std::string> words) {
    co_return co_await host::askAgent(commandOf(examined), std::move(words), examined.agentTimeout);
}

toml::table configurationOf(const Examined& examined) {
    try {
        const std::filesystem::path file = agentHome(examined) / "config.toml";
        return toml::parse(fileContent(file, largestConfiguration, LastLink::followed).value_or(""));
    } catch (const toml::parse_error&) {
        return {};  // there is none, or the agent will say what is wrong with it
    }
}

/// As the agent's command chooses it ("-c model_provider=..."); empty when it does not.
std::string chosenProvider(const std::vector<std::string>& command) {
    constexpr std::string_view key = "model_provider=";
    for (const std::string& word : command) {
        const std::size_t found = word.find(key);
        if (found != std::string::npos) {
            std::string provider = word.substr(found + key.size());
            std::erase_if(provider, [](char quote) { return quote == '"' || quote == '\''; });
            return provider;
        }
    }
    return "";
}

/// A provider that wants a login of the agent's own is as good as the agent's.
void addProvider(LoginFacts& facts, const std::string& chosen, const toml::table& configuration,
                 const EnvironmentMap& environment) {
    const std::string named = configuration["model_provider"].value_or("");
    const std::string provider = chosen.empty() ? named : chosen;
    const auto entry = configuration["model_providers"][provider];
    if (provider.empty() || !entry.is_table() || entry["requires_openai_auth"].value_or(false)) {
        return;
    }
    facts.provider = provider;
    facts.keyVariable = entry["env_key"].value_or("");
    facts.keyReachesIt = environment.contains(facts.keyVariable);
}

/// A client's first words to a tool server.
std::string firstWords() {
    const boost::json::object parameters{{"protocolVersion", "2025-06-18"},
                                         {"capabilities", boost::json::object()},
                                         {"clientInfo", {{"name", "doctor"}, {"version", "1"}}}};
    const boost::json::object request{
        {"jsonrpc", "2.0"}, {"id", 1}, {"method", "initialize"}, {"params", parameters}};
    return boost::json::serialize(request) + "\n";
}

Task<Finding> checkOwnServer(const Examined& examined) {
    const std::vector<std::string> command =
        toolServerCommand(examined.program, examined.home, randomUuid(), "/dev/null");
    ChildProcessRequest request = requestOf({.words = command, .environment = environmentOf(examined)}, {});
    request.input = firstWords();
    const AgentAnswer answer = co_await answerTo(std::move(request), examined.agentTimeout);
    Finding finding{.check = "agent tools", .seen = "The dispatcher's tool server answers."};
    if (answer.output.find("serverInfo") == std::string::npos) {
        finding.verdict = Verdict::warning;
        finding.seen =
            "The dispatcher's tool server does not answer (" + examined.program.string() + " mcp).";
        finding.advice =
            "Install the program anew; without its tools agents report by other means or not at all.";
    }
    co_return finding;
}

/// Of all mapped apps' agents, or of any app's while none is mapped.
std::set<std::string> placesOfOwnServers(const Examined& examined) {
    AgentConfiguration configuration{.environment = environmentOf(examined),
                                     .command = examined.settings.agentCommand};
    std::set<std::string> places;
    const auto look = [&] {
        if (const auto place = ownToolServer(configuration)) {
            places.insert(*place);
        }
    };
    look();
    for (const AppMapping& mapping : examined.mappings) {
        configuration.profile = mapping.codexProfile;
        configuration.directories = {mapping.repoPath};
        look();
    }
    return places;
}

/// Why the agent's records cannot be read where the dispatcher looks for them; empty when they can.
std::string whyRecordsAreElsewhere(const Examined& examined) {
    for (const std::string& word : examined.settings.agentCommand) {
        for (const std::string_view name : {"CODEX_HOME=", "CODEX_SQLITE_HOME=", "sqlite_home="}) {
            if (word.starts_with(name) || word.find("-c" + std::string(name)) != word.npos ||
                word.find("--config=" + std::string(name)) != word.npos) {
                return "The setting agent.command sets " + std::string(name.substr(0, name.size() - 1)) +
                       ", so agents keep their records where the dispatcher does not look";
            }
        }
    }
    const fs::path home = agentHome(examined);
    if (environmentOf(examined).contains("CODEX_SQLITE_HOME") ||
        configurationOf(examined)["sqlite_home"].is_string()) {
        return "Agents keep their records elsewhere than in " + home.string() +
               ", where alone the dispatcher looks (CODEX_SQLITE_HOME or sqlite_home)";
    }
    std::error_code ignored;
    return fs::is_directory(home, ignored)
               ? ""
               : "The agent's directory " + home.string() + " is not there, so its records are not";
}

}  // namespace

Task<Findings> checkRecords(const Examined& examined) {
    Finding finding{.check = "agent records",
                    .seen = "The agent's records are looked for in " + agentHome(examined).string() + "."};
    const std::string why = whyRecordsAreElsewhere(examined);
    if (!why.empty()) {
        finding.verdict = Verdict::warning;
        finding.seen = why + ": goals cannot be proved to be taken, and conversations not resumed.";
        finding.advice =
            "Set CODEX_HOME, where it is not the usual one, in the dispatcher's own environment, and no other "
            "place for the records; an agent that never ran makes its directory when it starts.";
    }
    co_return only(finding);
}

Task<Findings> checkAgent(const Examined& examined) {
    if (const auto missing = missingAgent(examined.settings.agentCommand, examined.environment)) {
        const Finding finding{.check = "agent", .verdict = Verdict::stops, .seen = *missing};
        co_return only(finding);
    }
    std::vector<std::string> ask{"--version"};
    const AgentAnswer answer = co_await askAgent(examined, std::move(ask));
    const std::string program = requestOf(commandOf(examined), {}).executable.string();
    co_return only(versionFinding(answer, program));
}

Task<Findings> checkLogin(const Examined& examined) {
    std::vector<std::string> ask{"login", "status"};
    const EnvironmentMap environment = environmentOf(examined);
    std::error_code ignored;
    LoginFacts facts;
    facts.status = co_await askAgent(examined, std::move(ask));
    facts.hasLoginFile = fs::exists(agentHome(examined) / "auth.json", ignored);
    facts.hasKey = environment.contains("OPENAI_API_KEY");
    addProvider(facts, chosenProvider(examined.settings.agentCommand), configurationOf(examined),
                environment);
    co_return only(loginFinding(facts));
}

Task<Findings> checkGoals(const Examined& examined) {
    std::vector<std::string> ask{"-c", "features.goals=true", "features", "list"};
    const AgentAnswer answer = co_await askAgent(examined, std::move(ask));
    co_return only(goalsFinding(answer));
}

Task<Findings> checkToolServer(const Examined& examined) {
    Finding served = co_await checkOwnServer(examined);
    Findings findings = only(std::move(served));
    for (const std::string& place : placesOfOwnServers(examined)) {
        findings.push_back({.check = "agent tools",
                            .verdict = Verdict::warning,
                            .seen = "Agents use " + ownToolServerName(place) + ", not the dispatcher's.",
                            .advice = "Take it out of " + place + " unless you mean it."});
    }
    co_return findings;
}

Task<Findings> checkAgentService(const Examined& examined) {
    std::error_code ignored;
    const bool runs =
        fs::exists(agentHome(examined) / "app-server-control" / "app-server-control.sock", ignored);
    const bool isWanted = std::ranges::any_of(examined.settings.agentCommand, [](const std::string& word) {
        return word.find("features.daemon_auto_start=true") != std::string::npos;
    });
    Finding finding{.check = "agent service",
                    .seen = runs ? "A background service of the agent runs; sessions do without it."
                                 : "No background service of the agent runs; sessions do without one."};
    if (isWanted) {
        finding.verdict = Verdict::warning;
        finding.seen =
            "The setting agent.command has sessions use the agent's background service, whose "
            "conversations cannot be followed.";
        finding.advice = "Take features.daemon_auto_start=true out of it.";
    }
    co_return only(finding);
}

Task<Findings> checkTrust(const Examined& examined) {
    Finding finding{.check = "agent trust", .seen = "Agents trust mapped repositories and their worktrees."};
    if (!examined.settings.agentTrust) {
        finding.verdict = Verdict::warning;
        finding.seen = "Each agent asks a person whether it may trust its worktree (setting agent.trust).";
        finding.advice = "Have them trust it: quernlight-dispatch config set agent.trust true";
    }
    co_return only(finding);
}

}  // namespace quernlight::host
