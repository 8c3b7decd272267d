#pragma once

#include <future>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
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
    /// or threw. A call that has been handed over runs to its end even when the coroutine is cancelled. Once
    /// the coroutine goes on, the thread has let go of all that is the caller's, its executor included; the
    /// coroutine's context must live that long.
    template <class Call>
    Task<std::invoke_result_t<Call>> run(Call call) {
        std::packaged_task<std::invoke_result_t<Call>()> work(std::move(call));
        auto result = work.get_future();
        const auto leaving = std::make_shared<std::mutex>();
        auto handOver = [this, &work, leaving](auto resume) {
            auto caller = boost::asio::prefer(boost::asio::get_associated_executor(resume),
                                              boost::asio::execution::outstanding_work.tracked);
            boost::asio::post(
                thread_, [&work, leaving, caller = std::move(caller), resume = std::move(resume)]() mutable {
                    work();
                    handBack(*leaving, std::move(caller), std::move(resume));
                });
        };
        co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>&, void()>(
            handOver, boost::asio::use_awaitable);
        const std::lock_guard left(*leaving);
        co_return result.get();
    }

  private:
    /// The coroutine, which may resume before `post` has returned here and may then end the context it runs
    /// on, first waits for the mutex: until nothing of that context is in use on this thread any more.
    template <class Executor, class Handler>
    static void handBack(std::mutex& leaving, Executor&& caller, Handler&& resume) {
        const std::lock_guard guard(leaving);
        const auto executor = std::forward<Executor>(caller);
        auto handler = std::forward<Handler>(resume);
        boost::asio::post(executor, std::move(handler));
    }

    boost::asio::thread_pool thread_{1};
};

}  // namespace quernlight
