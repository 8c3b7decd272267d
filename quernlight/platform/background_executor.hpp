#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight {

/// One thread of its own for calls that block, so that the caller's executor never does. Calls run one at a
/// time in the order in which they were awaited. Destruction waits for the calls that were handed over.
class BackgroundExecutor {
  public:
    BackgroundExecutor() = default;
    BackgroundExecutor(const BackgroundExecutor&) = delete;
    BackgroundExecutor& operator=(const BackgroundExecutor&) = delete;
    ~BackgroundExecutor() { thread_.join(); }

    /// Runs `call` on the thread; the awaiting coroutine goes on, on its own executor, with what it returned
    /// or threw. A call that has been handed over runs to its end even when the coroutine is cancelled.
    template <class Call>
    Task<std::invoke_result_t<Call>> run(Call call) {
        co_return co_await boost::asio::co_spawn(thread_.get_executor(), invoke(std::move(call)),
                                                 boost::asio::use_awaitable);
    }

  private:
    template <class Call>
    static Task<std::invoke_result_t<Call>> invoke(Call call) {
        co_return call();
    }

    boost::asio::thread_pool thread_{1};
};

}  // namespace quernlight
