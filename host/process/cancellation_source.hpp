#pragma once

#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// A wish to stop, for good, that also ends what is waited for meanwhile. Used on one executor by one
/// coroutine that waits and others that cancel.
class CancellationSource {
  public:
    void cancel() {
        cancelled_ = true;
        waiting_.emit(boost::asio::cancellation_type::terminal);
    }

    bool isCancelled() const { return cancelled_; }

    /// The work's result. Once cancelled the work is cancelled, or not begun, and system_error
    /// (operation_aborted) is thrown. One wait at a time.
    template <class Result>
    Task<Result> unlessCancelled(Task<Result> work) {
        if (cancelled_) {
            throw boost::system::system_error(boost::asio::error::operation_aborted);
        }
        const auto executor = co_await boost::asio::this_coro::executor;
        const Waiting waiting{waiting_.slot()};
        co_return co_await boost::asio::co_spawn(
            executor, std::move(work),
            boost::asio::bind_cancellation_slot(waiting_.slot(), boost::asio::use_awaitable));
    }

  private:
    /// Once the wait is over a cancellation has nothing to cancel any more.
    struct Waiting {
        boost::asio::cancellation_slot slot;

        ~Waiting() { slot.clear(); }
    };

    bool cancelled_ = false;
    boost::asio::cancellation_signal waiting_;
};

}  // namespace quernlight::host
