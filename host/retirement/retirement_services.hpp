#pragma once

#include <filesystem>
#include <functional>

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

    /// Whether what is at the home's path is still the home that this process owns.
    std::function<bool()> homeIsInPlace = [] { return true; };
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
            .events = services.events,
            .homeIsInPlace = services.homeIsInPlace};
}

}  // namespace quernlight::host
