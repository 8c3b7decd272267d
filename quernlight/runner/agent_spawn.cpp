#include "quernlight/runner/agent_spawn.hpp"

#include <utility>

namespace quernlight {

SpawnRequest agentSpawnRequest(const StartSessionRequest& request, TerminalStreams terminal) {
    SpawnRequest spawn;
    spawn.arguments = request.launchCommand;
    if (spawn.arguments.front().find('/') == std::string::npos) {
        spawn.arguments.insert(spawn.arguments.begin(), "/usr/bin/env");
    }
    spawn.executable = spawn.arguments.front();
    for (const auto& [key, value] : request.environment) {
        spawn.environment.push_back(key + "=" + value);
    }
    spawn.workingDirectory = request.repoPath;
    spawn.streams = std::move(terminal);
    return spawn;
}

}  // namespace quernlight
