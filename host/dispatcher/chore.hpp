#pragma once

#include <exception>
#include <functional>

#include "host/session/session_services.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// What the dispatcher shares with each of its chores; outlives them.
struct ChoreContext {
    SessionServices& services;
    bool once = false;  ///< nobody waits for what may pass

    /// Ends the program with the first of these, after all sessions have ended.
    std::function<void(std::exception_ptr)> endProgram;

    AsyncSignal changed{};  ///< something may be started now, or the end may have come

    bool isStopping() const { return services.stop.isStopping(); }
};

/// Does what the failure means: transient ones are shown, others end the program. Throws it again when the
/// work was cancelled.
void handleFailure(ChoreContext& context, const std::exception_ptr& failure);

/// Runs one round of a chore, and returns what it threw, if anything, after that was handled.
Task<std::exception_ptr> runRound(ChoreContext& context, Task<void> round);

/// Ends the program once the backend refuses the token, whoever has met that.
void endIfTokenIsRefused(ChoreContext& context);

}  // namespace quernlight::host
