#include "host/intake/bug_source.hpp"

#include <algorithm>
#include <iterator>

#include "host/text/counted.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/transport_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::minutes betweenWholeLists{10};  // of one status

BackendUnavailable unavailable(const QuernlightClient& client, const std::exception& cause,
                               std::optional<std::chrono::seconds> retryAfter = std::nullopt) {
    const std::string reason = failureSentence(cause);
    const std::string sentence = "The backend at " + client.baseURL().text() +
                                 " cannot be asked for bugs: " + reason +
                                 " Check the address and that it runs.";
    return {sentence, reason, retryAfter};
}

bool refusesToken(const BackendError& error) {
    return error.isServer(401) || error.isServer(403);
}

/// Thousands of bugs may have long texts.
void keepWhatIsNeeded(QLBugSummaryDTO& bug) {
    bug.metadata = JSONValue();
    for (auto* text : {&bug.description, &bug.reporter, &bug.appVersion, &bug.osVersion, &bug.deviceModel,
                       &bug.deviceName, &bug.duplicateOf}) {
        text->reset();
    }
}

/// A backend that is busy, or wants to be left alone: to ask it for less would not help.
bool willPass(const BackendError& error) {
    return error.retryAfter() || error.isServer(429) || error.isServer(503);
}

/// To ask for less may help. A connection that fails says nothing of the list.
bool isTooMuch(const TransportError& error) {
    return error.reason() == TransportError::Reason::answerTooLarge ||
           error.reason() == TransportError::Reason::timedOut;
}

void append(BugListing& listing, ReadableList<QLBugSummaryDTO> page) {
    std::move(page.records.begin(), page.records.end(), std::back_inserter(listing.bugs));
    std::move(page.unreadable.begin(), page.unreadable.end(), std::back_inserter(listing.unreadable));
}

/// Those of `earlier` that are older than what is on the newest page: what is as new and not on it has left
/// the list since.
std::vector<QLBugSummaryDTO> beyond(const std::vector<QLBugSummaryDTO>& newest,
                                    const std::vector<QLBugSummaryDTO>& earlier) {
    std::set<std::string> ids;
    Instant oldest = Instant::max();
    for (const QLBugSummaryDTO& bug : newest) {
        ids.insert(bug.id);
        oldest = std::min(oldest, bug.createdAt);
    }
    std::vector<QLBugSummaryDTO> older;
    std::copy_if(earlier.begin(), earlier.end(), std::back_inserter(older), [&](const QLBugSummaryDTO& bug) {
        return bug.createdAt <= oldest && !ids.contains(bug.id);
    });
    return older;
}

/// A bug that another status's page has now is as it is there.
void addRemembered(BugListing& listing, std::vector<QLBugSummaryDTO> remembered) {
    std::set<std::string> ids;
    for (const QLBugSummaryDTO& bug : listing.bugs) {
        ids.insert(bug.id);
    }
    for (QLBugSummaryDTO& bug : remembered) {
        if (ids.insert(bug.id).second) {
            listing.rememberedIDs.insert(bug.id);
            listing.bugs.push_back(std::move(bug));
        }
    }
}

}  // namespace

UserError tokenRefused(const QuernlightClient& client, int status) {
    return UserError("The backend at " + client.baseURL().text() + " refuses the token (HTTP " +
                     std::to_string(status) +
                     "); put a valid one where it is kept, which is told by: quernlight-dispatch token "
                     "status");
}

std::string describeCut(const CutList& cut) {
    return "The backend returned " + counted(static_cast<std::int64_t>(cut.returned), "bug") +
           " in status \"" + cut.status + "\" and no more when it was asked for " +
           std::to_string(cut.asked) +
           ": either these are all, or the backend lists no more and older ones are not seen.";
}

Task<BugListing> BugSource::list() {
    return look(false);
}

Task<BugListing> BugSource::listAll() {
    return look(true);
}

Task<BugListing> BugSource::look(bool all) {
    BugListing listing;
    std::vector<QLBugSummaryDTO> remembered;
    for (const char* status : {"open", "investigate", "in_review"}) {
        const Known& listed = known(status);
        const bool isListed =
            !listed.bugs.empty() && clock_.steadyNow() < listed.listedAt + betweenWholeLists;
        if (isListed && !all) {
            co_await addNewest(status, listing, remembered);
        } else {
            co_await addAll(status, listing);
        }
    }
    addRemembered(listing, std::move(remembered));
    co_return listing;
}

BugSource::Known& BugSource::known(const std::string& status) {
    return known_.try_emplace(status, Known{.limit = ListLimit(firstLimit_)}).first->second;
}

Task<void> BugSource::addAll(std::string status, BugListing& listing) {
    Known& listed = known(status);
    Page page = co_await wholeList(status, listed.limit);
    listed.listedAt = clock_.steadyNow();
    listed.bugs.clear();
    if (listed.limit.isLong()) {
        listed.bugs = page.records;
    }
    if (const auto asked = listed.limit.cutAt()) {
        listing.cutLists.push_back({.status = status, .returned = page.size(), .asked = *asked});
    }
    append(listing, std::move(page));
}

Task<void> BugSource::addNewest(std::string status, BugListing& listing,
                                std::vector<QLBugSummaryDTO>& remembered) {
    Known& listed = known(status);
    ListLimit first(firstLimit_);
    auto page = co_await pageIfAny(status, first);  // or it throws
    std::vector<QLBugSummaryDTO> older;
    if (page->size() >= static_cast<std::size_t>(firstLimit_)) {
        older = beyond(page->records, listed.bugs);
    }
    listed.bugs = page->records;
    append(listing, std::move(*page));
    listed.bugs.insert(listed.bugs.end(), older.begin(), older.end());
    std::move(older.begin(), older.end(), std::back_inserter(remembered));
}

Task<BugSource::Page> BugSource::wholeList(std::string status, ListLimit& limit) {
    Page largest;
    limit.begin(clock_.steadyNow());
    while (!limit.isDone()) {
        auto page = co_await pageIfAny(status, limit);
        if (page) {
            limit.answered(page->size());
            largest = std::move(*page);
        }
    }
    co_return largest;
}

/// Nothing when less is to be asked for.
Task<std::optional<BugSource::Page>> BugSource::pageIfAny(std::string status, ListLimit& limit) {
    try {
        Page page = co_await client_.fetchReadableBugs(status, limit.asked());
        std::for_each(page.records.begin(), page.records.end(), keepWhatIsNeeded);
        co_return page;
    } catch (const BackendError& error) {
        if (refusesToken(error)) {
            throw tokenRefused(client_, error.status());
        }
        if (willPass(error) || !limit.failed(clock_.steadyNow())) {
            throw unavailable(client_, error, error.retryAfter());
        }
    } catch (const TransportError& error) {
        if (!isTooMuch(error) || !limit.failed(clock_.steadyNow())) {
            throw unavailable(client_, error);
        }
    } catch (const DecodingError& error) {
        if (!limit.failed(clock_.steadyNow())) {
            throw unavailable(client_, error);
        }
    }
    co_return std::nullopt;
}

}  // namespace quernlight::host
