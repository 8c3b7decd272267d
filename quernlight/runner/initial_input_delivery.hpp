#pragma once

#include <string>

#include "quernlight/platform/identifiers.hpp"

namespace quernlight {

/// Delivers the initial inputs of a runner's sessions in the runner's place: a host that can see the agent's
/// screen knows better than a fixed plan when and how to type. It outlives the runner.
class InitialInputDelivery {
  public:
    virtual ~InitialInputDelivery() = default;

    /// The session's prompt is ready, or has been awaited for as long as it ever is; the runner types
    /// nothing. Called once for every session that has started with an input, on the runner's background
    /// thread, which an implementation must not hold; must not throw. The session may have ended meanwhile.
    virtual void deliver(Uuid sessionID, std::string input) = 0;
};

}  // namespace quernlight
