#pragma once

#include <set>
#include <string>

#include "host/settings/settings.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// The short ids of every bug that the queue holds, finished ones included, and of those that were retired.
Task<std::set<std::string>> knownBugIDs(DispatchStore store);

/// How many new bugs may still be taken today (UTC).
Task<int> roomForNewBugs(DispatchStore store, Settings settings, Instant now);

/// What to tell when a day's share of new bugs is used up.
std::string describeLeftForLater(int bugs, int perDay);

}  // namespace quernlight::host
