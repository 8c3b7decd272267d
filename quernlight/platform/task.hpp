#pragma once

#include <exception>
#include <functional>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

namespace quernlight {

/// What every public asynchronous operation returns. Lazy: nothing happens before it is awaited. It runs on
/// the executor of the coroutine that awaits it and leaves that executor only where an operation says so.
template <class Result = void>
using Task = boost::asio::awaitable<Result>;

/// Takes one report of a failure, a line without its end. Called on the thread that reports, on one at a
/// time; must not throw, wait, or report itself.
using FailureSink = std::function<void(const std::string& line)>;

/// Where reports of failures go from now on; without a sink, to standard error. Once this returns, the sink
/// before is not called any more. Safe from any thread.
void setFailureSink(FailureSink sink);

/// Starts `work` on `executor` without waiting for it. An exception that leaves it is told by
/// `reportFailure` under that name, because nobody else is there to see it. Cancelled work is not a failure.
void spawnLogged(boost::asio::any_io_executor executor, std::string name, Task<void> work);

/// Tells of an exception that nobody else will see, as "NAME: what happened", one line of at most 300
/// characters of it in which nothing acts on a terminal. Says nothing for a null pointer or for cancelled
/// work, which is no failure.
void reportFailure(const std::string& name, const std::exception_ptr& failure) noexcept;

}  // namespace quernlight
