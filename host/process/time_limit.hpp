#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/clock.hpp"
#include "quernlight/platform/child_task.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The work did not end within its time.
class TimeLimitExceeded : public std::runtime_error {
  public:
    TimeLimitExceeded() : std::runtime_error("It did not answer in time.") {}
};

/// What a piece of work and its alarm share.
struct TimeLimit {
    boost::asio::cancellation_signal ending{};
    bool isOver = false;  ///< the work has ended
    bool isExceeded = false;
};

inline Task<void> endAfter(Clock& clock, std::chrono::milliseconds time, std::shared_ptr<TimeLimit> limit) {
    co_await clock.sleepFor(time);
    if (!limit->isOver) {
        limit->isExceeded = true;
        limit->ending.emit(boost::asio::cancellation_type::terminal);
    }
}

/// The work's result; when it takes longer than `time` by the clock it is cancelled and TimeLimitExceeded is
/// thrown. Cancelling the caller cancels the work.
template <class Result>
Task<Result> withTimeLimit(Clock& clock, std::chrono::milliseconds time, Task<Result> work) {
    using boost::asio::cancellation_type;
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto limit = std::make_shared<TimeLimit>();
    const boost::asio::cancellation_state state = co_await boost::asio::this_coro::cancellation_state;
    boost::asio::cancellation_slot caller = state.slot();
    if (caller.is_connected()) {
        caller.assign([limit](cancellation_type type) { limit->ending.emit(type); });
    }
    const ChildTask alarm(executor, "limiting the time of work", endAfter(clock, time, limit));
    const std::shared_ptr<void> atEnd(nullptr, [limit](void*) { limit->isOver = true; });
    try {
        co_return co_await boost::asio::co_spawn(
            executor, std::move(work),
            boost::asio::bind_cancellation_slot(limit->ending.slot(), boost::asio::use_awaitable));
    } catch (const boost::system::system_error&) {
        if (limit->isExceeded) {
            throw TimeLimitExceeded();
        }
        throw;
    }
}

}  // namespace quernlight::host
