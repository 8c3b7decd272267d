#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

#include "quernlight/platform/async_signal.hpp"

namespace quernlight {

/// The producing end of an `EventStream`: delivers from any thread, never blocks, keeps what is not yet read
/// without bound. Copies feed the same stream; two are equal when they do.
template <class Event>
class EventContinuation {
  public:
    void deliver(Event event) const { add(std::move(event)); }

    /// The same with an event that other streams are given, too: while it waits it is kept once for all.
    void deliverShared(std::shared_ptr<const Event> event) const { add(std::move(event)); }

    /// Ends the stream once what was delivered has been read. What is delivered later is dropped.
    void finish() const {
        {
            const std::lock_guard guard(state_->lock);
            state_->finished = true;
        }
        state_->signal.notify();
    }

    /// How many events are delivered and not yet read.
    std::size_t waiting() const {
        const std::lock_guard guard(state_->lock);
        return state_->events.size();
    }

    bool operator==(const EventContinuation&) const = default;

  private:
    using Waiting = std::variant<Event, std::shared_ptr<const Event>>;

    struct State {
        std::mutex lock;
        std::deque<Waiting> events;
        bool finished = false;
        AsyncSignal signal;
    };

    template <class>
    friend class EventStream;

    explicit EventContinuation(std::shared_ptr<State> state) : state_(std::move(state)) {}

    void add(Waiting event) const {
        {
            const std::lock_guard guard(state_->lock);
            if (state_->finished) {
                return;
            }
            state_->events.push_back(std::move(event));
        }
        state_->signal.notify();
    }

    std::shared_ptr<State> state_;
};

/// An unbounded stream of events with one reader. Destroying it tells the producer through the termination
/// handler, so that nothing is kept for a reader who has left.
template <class Event>
class EventStream {
  public:
    using Continuation = EventContinuation<Event>;
    using TerminationHandler = std::function<void(const Continuation&)>;

    EventStream() : continuation_(std::make_shared<typename Continuation::State>()) {}
    EventStream(EventStream&&) noexcept = default;
    EventStream& operator=(EventStream&& other) noexcept {
        std::swap(continuation_, other.continuation_);
        std::swap(onTermination_, other.onTermination_);
        return *this;
    }
    ~EventStream() {
        if (continuation_.state_) {
            continuation_.finish();
            if (onTermination_) {
                onTermination_(continuation_);
            }
        }
    }

    const Continuation& continuation() const { return continuation_; }

    /// Called once, with this stream's continuation, when the reader leaves, by the thread that destroys the
    /// stream; must not throw. Set before the stream is shared.
    void onTermination(TerminationHandler handler) { onTermination_ = std::move(handler); }

    /// The next event in the order of delivery, or nothing once the stream has been finished and read to its
    /// end. Cancellation ends the wait with `operation_aborted`; no event is lost by it.
    Task<std::optional<Event>> next() {
        while (true) {
            if (auto event = take()) {
                co_return event;
            }
            if (ended()) {
                co_return std::nullopt;
            }
            co_await continuation_.state_->signal.wait();
        }
    }

    /// The next event, or nothing when none has come by `deadline` or the stream has ended. Cancelled as
    /// `next`.
    Task<std::optional<Event>> nextUntil(std::chrono::steady_clock::time_point deadline) {
        while (true) {
            auto event = take();
            if (event || ended() || std::chrono::steady_clock::now() >= deadline) {
                co_return event;
            }
            co_await continuation_.state_->signal.waitUntil(deadline);
        }
    }

    /// Whether the stream was finished and everything delivered has been read.
    bool ended() const {
        const std::lock_guard guard(continuation_.state_->lock);
        return continuation_.state_->finished && continuation_.state_->events.empty();
    }

  private:
    std::optional<Event> take() {
        const std::lock_guard guard(continuation_.state_->lock);
        auto& events = continuation_.state_->events;
        if (events.empty()) {
            return std::nullopt;
        }
        Event* const own = std::get_if<0>(&events.front());
        std::optional<Event> event(own ? std::move(*own) : *std::get<1>(events.front()));
        events.pop_front();
        return event;
    }

    Continuation continuation_;
    TerminationHandler onTermination_;
};

}  // namespace quernlight
