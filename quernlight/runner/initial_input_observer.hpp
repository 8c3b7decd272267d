#pragma once

#include <string>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Learns what becomes of the initial inputs of a runner's sessions. For every session that has one and has
/// started: first `waiting`, then either `aboutToType` and `typed`, or `gaveUp`, also after `aboutToType`; no
/// more than was said so far when the runner goes first. `waiting` is called by `startSession` on its
/// caller's executor, the others on the runner's background thread, which an implementation must not hold;
/// none may throw but `aboutToType`. An observer outlives the runner.
class InitialInputObserver {
  public:
    virtual ~InitialInputObserver() = default;

    /// The child runs; its prompt is awaited.
    virtual void waiting(Uuid sessionID) = 0;

    /// The prompt is ready. Awaited before the first key is typed; when it throws, nothing is typed and the
    /// session's input is given up with that reason.
    virtual Task<void> aboutToType(Uuid sessionID) = 0;

    /// The terminal has taken all of it, the last Enter included.
    virtual void typed(Uuid sessionID) = 0;

    /// It was not typed, or not to its end, for the reason given in one sentence.
    virtual void gaveUp(Uuid sessionID, std::string reason) = 0;
};

}  // namespace quernlight
