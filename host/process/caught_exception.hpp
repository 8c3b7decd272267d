#pragma once

#include <exception>
#include <utility>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Does the work and returns what it threw, null when it ended well.
inline Task<std::exception_ptr> caughtException(Task<void> work) {
    std::exception_ptr failure;
    try {
        co_await std::move(work);
    } catch (...) {
        failure = std::current_exception();
    }
    co_return failure;
}

}  // namespace quernlight::host
