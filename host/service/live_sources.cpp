#include "host/service/live_sources.hpp"

#include "host/screen/agent_activity.hpp"

namespace quernlight::host {

std::optional<SeenAgent> seenAgent(const LiveScreens& screens, const std::string& bugID) {
    const auto agent = screens.look(bugID);
    if (!agent) {
        return std::nullopt;
    }
    const AgentActivity activity = agentActivity(*agent->picture);
    return SeenAgent{.attemptNumber = agent->attemptNumber,
                     .pid = agent->pid,
                     .since = agent->since,
                     .state = agent->pid ? std::string(nameOf(activity.state)) : "exited",
                     .rule = std::string(activity.rule),
                     .reason = activity.reason};
}

}  // namespace quernlight::host
