#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/report/report.hpp"
#include "host/service/bug_operations.hpp"
#include "host/service/live_sources.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

// What came of the work: the service's operations, on the store and what a dispatcher that runs knows, both
// of which outlive them. They throw ServiceError, UserError and DatabaseError.

/// The links of bugs' pull requests, by short id.
struct PullRequests {
    std::map<std::string, Url> links{};
    std::string trouble{};  ///< why they are not known, in one sentence; empty when they are
};

/// As a dispatcher that runs has them, else as the backend lists them for bugs in review.
Task<PullRequests> pullRequestsOf(const LiveSources& live, BackendAccess backend,
                                  std::vector<std::string> bugIDs);

Task<Report> makeReport(StoreAccess& access, const LiveSources& live, BackendAccess backend, Instant since);

}  // namespace quernlight::host
