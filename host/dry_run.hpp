#pragma once

#include <filesystem>
#include <iosfwd>

#include "host/bug_source.hpp"
#include "host/dispatcher.hpp"

namespace quernlight::host {

/// Tells what a run would enqueue and start, by doing the enqueueing for real on a private copy of the queue.
/// Nothing of the home is written, also when another process owns it. Throws UserError.
Task<void> dryRun(std::filesystem::path home, QuernlightClient client, DispatcherSettings settings,
                  std::ostream& out);

}  // namespace quernlight::host
