#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "host/agent/session_event.hpp"
#include "host/process/clock.hpp"
#include "quernlight/platform/async_signal.hpp"

namespace quernlight::host {

/// Everything a session waits for, in one mailbox with one reader, so that its coroutine has one place to
/// wait. Used on one executor.
class SessionMailbox {
    struct State {
        std::deque<SessionEvent> events;
        AsyncSignal signal;
    };

  public:
    /// The end that delivers; copies feed the same mailbox. What comes after the mailbox has gone is dropped.
    class Continuation {
      public:
        void deliver(SessionEvent event) const;

      private:
        friend class SessionMailbox;

        explicit Continuation(std::weak_ptr<State> state) : state_(std::move(state)) {}

        std::weak_ptr<State> state_;
    };

    Continuation continuation() const { return Continuation(state_); }

    /// The next event in the order of delivery. Cancellation ends the wait and loses no event.
    Task<SessionEvent> next();

    /// The same, or nothing when none has come by `deadline` of the clock.
    Task<std::optional<SessionEvent>> nextUntil(Clock& clock, Clock::TimePoint deadline);

  private:
    std::optional<SessionEvent> take();

    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace quernlight::host
