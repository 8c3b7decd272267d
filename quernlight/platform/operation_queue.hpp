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
        co_return co_await boost::asio::co_spawn(executor, runInTurn(turns_, std::move(operation)),
                                                 boost::asio::use_awaitable);
    }

  private:
    /// Who has the turn and who waits for it. Operations share it with the queue, because they end after it
    /// where their context does.
    class Turns {
      public:
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

      private:
        std::mutex lock_;
        std::deque<AsyncSignal> waiting_;  // the front one has its turn
    };

    /// Holds the turn and hands it on when the operation has ended, however it ended.
    class Turn {
      public:
        explicit Turn(Turns& turns) : turns_(turns) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() { turns_.leave(); }

      private:
        Turns& turns_;
    };

    template <class Result>
    static Task<Result> runInTurn(std::shared_ptr<Turns> turns, Task<Result> operation) {
        co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
        const AsyncSignal turnCame = turns->enter();
        co_await turnCame.wait();
        const Turn turn(*turns);
        co_return co_await std::move(operation);
    }

    std::shared_ptr<Turns> turns_ = std::make_shared<Turns>();
};

}  // namespace quernlight
