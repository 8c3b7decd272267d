#pragma once

#include <filesystem>

#include "host/session/session_services.hpp"

namespace quernlight::host {

/// What retirement borrows; it outlives it. A program that runs no sessions has this, too.
struct RetirementServices {
    std::filesystem::path home;
    DispatchStore store;
    QueueManager& manager;
    QuernlightClient client;
    RepositoryLocks& repositories;
    Clock& clock;
    StopRequest& stop;
    BackendHealth& health;
    const Settings& settings;
    EventPublisher& events;
};

inline RetirementServices retirementServices(SessionServices& services) {
    return {.home = services.home,
            .store = services.store,
            .manager = services.manager,
            .client = services.client,
            .repositories = services.repositories,
            .clock = services.clock,
            .stop = services.stop,
            .health = services.health,
            .settings = services.settings,
            .events = services.events};
}

}  // namespace quernlight::host
