#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The work did not end within its time.
class TimeLimitExceeded : public std::runtime_error {
  public:
    TimeLimitExceeded() : std::runtime_error("It did not answer in time.") {}
};

/// The work's result; when it takes longer than `limit` it is cancelled and TimeLimitExceeded is thrown.
/// Cancelling the caller cancels the work.
template <class Result>
Task<Result> withTimeLimit(std::chrono::milliseconds limit, Task<Result> work) {
    using boost::asio::cancellation_signal;
    using boost::asio::cancellation_type;
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto ending = std::make_shared<cancellation_signal>();
    const auto expired = std::make_shared<bool>(false);
    const boost::asio::cancellation_state state = co_await boost::asio::this_coro::cancellation_state;
    boost::asio::cancellation_slot caller = state.slot();
    if (caller.is_connected()) {
        caller.assign([ending](cancellation_type type) { ending->emit(type); });
    }
    boost::asio::steady_timer timer(executor, limit);
    timer.async_wait([ending, expired](const boost::system::error_code& error) {
        if (!error) {
            *expired = true;
            ending->emit(cancellation_type::terminal);
        }
    });
    try {
        co_return co_await boost::asio::co_spawn(
            executor, std::move(work),
            boost::asio::bind_cancellation_slot(ending->slot(), boost::asio::use_awaitable));
    } catch (const boost::system::system_error&) {
        if (*expired) {
            throw TimeLimitExceeded();
        }
        throw;
    }
}

}  // namespace quernlight::host
