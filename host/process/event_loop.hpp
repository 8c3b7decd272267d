#pragma once

#include <functional>

#include <boost/asio/io_context.hpp>

#include "host/process/stop_signals.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Runs `io` until `work` and all else on it has ended, and throws what `work` threw. SIGINT,
/// SIGTERM and SIGHUP call `onWish` with how many wishes to stop there are, in place of ending the program.
/// Returns those that came.
StopSignals runWithSignals(boost::asio::io_context& io, Task<void> work, std::function<void(int)> onWish);

/// The same for short work that a signal simply cancels. Returns whether one did.
bool runUnlessInterrupted(boost::asio::io_context& io, Task<void> work);

}  // namespace quernlight::host
