#pragma once

#include <string>

#include "host/settings/settings.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// How many new bugs may still be taken today (UTC): the setting's number less those that were added today
/// and are still in the queue, or were retired since.
Task<int> roomForNewBugs(DispatchStore store, Settings settings, Instant now);

/// What to tell when a day's share of new bugs is used up.
std::string describeLeftForLater(int bugs, int perDay);

}  // namespace quernlight::host
