#pragma once

#include <chrono>
#include <thread>

#include "tests/support/run_task.hpp"

namespace quernlight::test {

/// Whether the alert comes to hold within the generous bound. For what another process does, of which
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
