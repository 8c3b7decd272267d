#pragma once

#include <exception>
#include <optional>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::bench {

/// Runs the task to its end on an event loop of its own, on this thread.
template <class Result>
Result awaited(Task<Result> task) {
    boost::asio::io_context loop;
    std::exception_ptr failure;
    std::optional<Result> result;
    boost::asio::co_spawn(loop, std::move(task), [&](std::exception_ptr error, Result value) {
        failure = std::move(error);
        result = std::move(value);
    });
    loop.run();
    return failure ? (std::rethrow_exception(failure), *std::move(result)) : *std::move(result);
}

inline void awaited(Task<void> task) {
    boost::asio::io_context loop;
    std::exception_ptr failure;
    boost::asio::co_spawn(loop, std::move(task),
                          [&](std::exception_ptr error) { failure = std::move(error); });
    loop.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace quernlight::bench
