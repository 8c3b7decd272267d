#pragma once

#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Starts `work` on `executor` without waiting for it. An exception that leaves it is told by
/// `reportFailure` under that name, because nobody else is there to see it. Cancelled work is not a failure.
void spawnLogged(boost::asio::any_io_executor executor, std::string name, Task<void> work);

}  // namespace quernlight
