#pragma once

#include <functional>

#include <boost/asio/io_context.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Runs `work` to its end on `io` and throws what it threw. SIGINT, SIGTERM and SIGHUP call `onSignal` with
/// how many have come so far, in place of ending the program.
void runWithSignals(boost::asio::io_context& io, Task<void> work, std::function<void(int)> onSignal);

}  // namespace quernlight::host
