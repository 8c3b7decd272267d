#pragma once

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/queue/queue_repository.hpp"

namespace quernlight::host {

/// Which of the backend's bugs are taken in.
enum class IntakeScope {
    openBugs,      ///< those nobody works on yet
    dispatchBugs,  ///< also those under investigation or in review
};

/// The backend gave no usable list; the next time it may.
class BackendUnavailable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Throws UserError when the backend refuses the token, since no waiting mends that, and BackendUnavailable
/// otherwise.
Task<std::vector<QLBugSummaryDTO>> fetchBugsInScope(QuernlightClient client, IntakeScope scope, int limit);

/// The short ids of every bug that the queue holds, finished ones included.
Task<std::set<std::string>> knownBugIDs(QueueRepository items);

/// What to tell when a status returned as many bugs as were asked for.
std::string describeCut(const std::string& status, int limit);

}  // namespace quernlight::host
