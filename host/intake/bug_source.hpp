#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/dispatch_store.hpp"
#include "host/settings/settings.hpp"
#include "host/user_error.hpp"
#include "quernlight/backend/quernlight_client.hpp"

namespace quernlight::host {

/// The backend gave no usable list; the next time it may.
class BackendUnavailable : public UserError {
  public:
    BackendUnavailable(const std::string& sentence, std::string cause)
        : UserError(sentence), cause_(std::move(cause)) {}

    /// What the sentence gives as the reason.
    const std::string& cause() const { return cause_; }

  private:
    std::string cause_;
};

/// What to end with when the backend answers with such a status (401, 403) to what every token may ask.
UserError tokenRefused(const QuernlightClient& client, int status);

/// Throws UserError when the backend refuses the token, since no waiting mends that, and BackendUnavailable
/// otherwise. `limit` is the number of bugs asked for per status.
Task<std::vector<QLBugSummaryDTO>> fetchListedBugs(QuernlightClient client, int limit);

/// The short ids of every bug that the queue holds, finished ones included, and of those that were retired.
Task<std::set<std::string>> knownBugIDs(DispatchStore store);

/// How many new bugs may still be taken today (UTC).
Task<int> roomForNewBugs(DispatchStore store, Settings settings);

/// What to tell when a status returned as many bugs as were asked for.
std::string describeCut(const std::string& status, int limit);

/// What to tell when a day's share of new bugs is used up.
std::string describeLeftForLater(int bugs, int perDay);

}  // namespace quernlight::host
