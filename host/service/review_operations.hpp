#pragma once

#include "host/retirement/review_state.hpp"
#include "host/service/bug_operations.hpp"
#include "host/service/live_sources.hpp"
#include "host/service/store_access.hpp"
#include "host/store/list_range.hpp"

namespace quernlight::host {

// Work in review: the service's operations. A dispatcher that runs does them itself, with what it knows; else
// this process does, and asks the backend for the pull requests.

Task<ReviewStates> listReviewStates(StoreAccess& access, const LiveSources& live, BackendAccess backend,
                                    ListRange range);

Task<std::vector<ReapedBug>> reapMerged(StoreAccess& access, const LiveSources& live, BackendAccess backend,
                                        bool dryRun);

}  // namespace quernlight::host
