#pragma once

#include <chrono>
#include <memory>

#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Lets one coroutine sleep until another thread or coroutine has news for it. The news itself lies
/// elsewhere, under its own lock: a woken coroutine looks again, because it may be woken without news. A
/// notification that nobody waits for is kept, so the order "look, wait" never misses one that falls in
/// between. Copies share one signal. A context that goes takes its waiting coroutines with it; what they
/// would have been told later reaches nobody.
class AsyncSignal {
  public:
    AsyncSignal();

    /// Wakes the waiting coroutine, on its own executor; from any thread, never blocking.
    void notify() const;

    /// Returns after a notification. One coroutine may wait at a time. Cancellation ends the wait with
    /// `operation_aborted`.
    Task<void> wait() const;

    /// As `wait`, but returns at `deadline` at the latest.
    Task<void> waitUntil(std::chrono::steady_clock::time_point deadline) const;

  private:
    struct State;
    class Waiting;

    std::shared_ptr<State> state_;
};

}  // namespace quernlight
