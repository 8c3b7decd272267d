#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/agent/live_screens.hpp"
#include "host/dispatcher/admission.hpp"
#include "host/events/event_publisher.hpp"
#include "host/service/observation_operations.hpp"

namespace quernlight::host {

/// While it lives, no session of the item begins and nothing else changes it of its own accord.
using ItemClaim = std::shared_ptr<const void>;

class Retirement;

/// What only a dispatcher that runs in this process knows and can do. Each may be missing. Used on the
/// service's executor.
struct LiveSources {
    std::function<EventPublisher::Subscription(EventPublisher::Handler)> subscribe{};
    std::function<std::optional<Url>(const std::string& bugID)> pullRequest{};

    /// Itself, backend, disk and alerts.
    std::function<HealthReport()> health{};

    /// What the agent says of its version; nothing when it does not tell.
    std::function<Task<std::optional<std::string>>()> agentVersion{};

    /// Where the bugs of the queue are, by id.
    std::function<std::map<std::string, BugProgress>()> progress{};

    /// By what stands on its screen; nothing when no agent works on the bug.
    std::function<std::optional<SeenAgent>(const std::string& bugID)> agent{};

    std::function<ItemWork(const Uuid& itemID)> workOn{};

    std::function<ItemClaim(const Uuid& itemID)> claim{};

    /// What the last session of an item that none works on has come to is found out, and then what a person
    /// wishes of it granted.
    std::function<void(const BugQueueItem& item)> reconcile{};

    /// Why an item did not start when that was last decided; nothing for one that was not waiting then.
    std::function<std::optional<WaitReason>(const Uuid& itemID)> waits{};

    /// Ends the item's session, and has the item held. Whether it has a session.
    std::function<Task<bool>(const Uuid& itemID)> stopSession{};

    /// An item, or a mapping, was changed past the sessions: its line is shown anew, and what may be started
    /// now is looked at.
    std::function<void(const std::optional<QueueEntry>& changed)> changed{};
    std::function<void(const std::string& bugID)> removed{};

    Retirement* retirement = nullptr;
};

/// A session's agent, by its screen; nothing when no agent works on the bug.
std::optional<SeenAgent> seenAgent(const LiveScreens& screens, const std::string& bugID);

}  // namespace quernlight::host
