#pragma once

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::test {

/// How long a test waits for an event before it says that the event never came.
constexpr std::chrono::seconds generousBound{60};

/// Runs `io` until `task` has ended and returns its result or throws what it threw. A task that has not ended
/// within the generous bound is given up with an exception.
template <class Result>
Result runTask(boost::asio::io_context& io, Task<Result> task) {
    std::future<Result> result = boost::asio::co_spawn(io, std::move(task), boost::asio::use_future);
    io.restart();
    const auto deadline = std::chrono::steady_clock::now() + generousBound;
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        if (io.run_one_until(deadline) == 0 && std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error("the task did not end in time");
        }
    }
    return result.get();
}

/// The same on an event loop of its own.
template <class Result>
Result runTask(Task<Result> task) {
    boost::asio::io_context io;
    return runTask(io, std::move(task));
}

/// Whether the condition comes to hold within the generous bound. For what another process does, of which
/// nothing tells the test.
template <class Condition>
bool eventually(Condition holds) {
    const auto deadline = std::chrono::steady_clock::now() + generousBound;
    while (!holds()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace quernlight::test
