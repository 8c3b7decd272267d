#pragma once

#include "host/agent/agent_answer.hpp"
#include "host/agent/live_screens.hpp"
#include "host/dispatcher/dispatcher.hpp"
#include "host/service/live_sources.hpp"

namespace quernlight::host {

/// Whom a running owner asks for what only it knows.
struct OwnerParts {
    const SessionServices& services;
    Dispatcher& dispatcher;
    const LiveScreens& screens;
    AgentVersion& agentVersion;
    std::string backend{};                   ///< its address
    std::optional<std::string> listening{};  ///< see OwnerReport
    Instant since{};                         ///< of the start
};

/// What the parts know and can do, for the service. They outlive it.
LiveSources ownerSources(OwnerParts parts);

}  // namespace quernlight::host
