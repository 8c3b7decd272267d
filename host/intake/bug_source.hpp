#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/health/failure_policy.hpp"
#include "host/intake/list_limit.hpp"
#include "host/process/clock.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/backend/quernlight_client.hpp"

namespace quernlight::host {

/// Bugs of each status that are asked for at first.
inline constexpr int firstListLimit = 200;

/// What to end with when the backend answers with such a status (401, 403) to what every token may ask.
UserError tokenRefused(const QuernlightClient& client, int status);

/// A status of which the backend may hold more bugs than it lists.
struct CutList {
    std::string status{};
    std::size_t returned = 0;
    int asked = 0;
};

/// What to tell of it.
std::string describeCut(const CutList& cut);

/// What the backend lists of the bugs that dispatching cares about, as far as it can be read. Of each bug
/// there is what intake and retirement need; its texts for people but the title are left out.
struct BugListing {
    std::vector<QLBugSummaryDTO> bugs{};
    std::vector<UnreadableRecord> unreadable{};
    std::vector<CutList> cutLists{};
    std::set<std::string> rememberedIDs{};  ///< ids of bugs that were not asked for now but listed before
};

/// Asks the backend for its bugs, of which it lists the newest ones of each status up to a limit: for more
/// and more of them until it has listed all. Where that took more than the first limit it asks only for the
/// newest in the rounds that follow, and for all again after a while. A failure that will pass is not taken
/// for a limit that is too large. Used on one executor, one look at a time.
class BugSource {
  public:
    /// `firstLimit`: bugs of each status that are asked for at first.
    /// `clock` outlives this.
    BugSource(const QuernlightClient& client, int firstLimit, const Clock& clock)
        : client_(client), clock_(clock), firstLimit_(firstLimit) {}

    // Both throw UserError when the backend refuses the token, since no waiting mends that, and
    // BackendUnavailable when it gives no usable list.

    /// All bugs; the older ones of a long list as they were some minutes ago.
    Task<BugListing> list();

    /// All bugs as they are now.
    Task<BugListing> listAll();

  private:
    using Page = ReadableList<QLBugSummaryDTO>;

    /// What is known of one status's list.
    struct Known {
        ListLimit limit;
        Clock::TimePoint listedAt{};          ///< all of it
        std::vector<QLBugSummaryDTO> bugs{};  ///< of a list for which the first limit is not enough
    };

    Task<BugListing> look(bool all);
    Task<void> addAll(std::string status, BugListing& listing);
    Task<void> addNewest(std::string status, BugListing& listing, std::vector<QLBugSummaryDTO>& remembered);
    Task<Page> wholeList(std::string status, ListLimit& limit);
    Task<std::optional<Page>> pageIfAny(std::string status, ListLimit& limit);
    Known& known(const std::string& status);

    const QuernlightClient client_;
    const Clock& clock_;
    const int firstLimit_;
    std::map<std::string, Known> known_;  // by status
};

}  // namespace quernlight::host
