#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Runs asynchronous operations one at a time, each to its end before the next begins, in the order in which
/// they arrived. A strand does not give this: coroutines on one strand interleave wherever one of them waits.
///
/// An operation runs on the executor of the coroutine that asked for it. Cancelling that coroutine does not
/// cut an operation in two: it still runs to its end, and the coroutine is cancelled at its next wait.
class OperationQueue {
  public:
    template <class Result>
    Task<Result> run(Task<Result> operation) {
        auto executor = co_await boost::asio::this_coro::executor;
        co_return co_await boost::asio::co_spawn(executor, runInTurn(std::move(operation)),
                                                 boost::asio::use_awaitable);
    }

  private:
    /// Holds the turn and hands it on when the operation has ended, however it ended.
    class Turn {
      public:
        explicit Turn(OperationQueue& queue) : queue_(queue) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() { queue_.leave(); }

      private:
        OperationQueue& queue_;
    };

    template <class Result>
    Task<Result> runInTurn(Task<Result> operation) {
        co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
        const AsyncSignal turnCame = enter();
        co_await turnCame.wait();
        const Turn turn(*this);
        co_return co_await std::move(operation);
    }

    AsyncSignal enter() {
        const std::lock_guard guard(lock_);
        waiting_.emplace_back();
        if (waiting_.size() == 1) {
            waiting_.front().notify();
        }
        return waiting_.back();
    }

    void leave() {
        const std::lock_guard guard(lock_);
        waiting_.pop_front();
        if (!waiting_.empty()) {
            waiting_.front().notify();
        }
    }

    std::mutex lock_;
    std::deque<AsyncSignal> waiting_;  // the front one has its turn
};

}  // namespace quernlight
