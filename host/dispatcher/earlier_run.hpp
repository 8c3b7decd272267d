#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/events/history_look.hpp"
#include "host/health/outside_failure.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// What an earlier run has met that still counts, by the histories of the bugs it has worked on.
struct EarlierRun {
    std::map<std::string, std::string> questions{};  ///< by bug, of those that nothing has answered
    /// That ends last of those whose end is still to come, that no person has ended since, and after which no
    /// agent was started that reported.
    std::optional<StatedLimit> limit{};
};

/// `queue`: all of it. Throws DatabaseError.
Task<EarlierRun> earlierRun(DispatchStore store, std::vector<BugQueueItem> queue, Instant now);

/// Stores that a person has had all that paused tried again. Throws DatabaseError.
Task<void> rememberUnpause(DispatchStore store, Instant at);

/// For which agents' work pauses.
OutsideFailure pauseFor(const StatedLimit& limit, Instant now);

}  // namespace quernlight::host
