#include "host/intake/bug_source.hpp"

#include "host/dispatch_store.hpp"
#include "host/user_error.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/transport_error.hpp"

namespace quernlight::host {
namespace {

BackendUnavailable unavailable(const QuernlightClient& client, const std::exception& cause) {
    const std::string sentence = "The backend at " + client.baseURL().text() +
                                 " cannot be asked for bugs: " + cause.what() +
                                 " Check the address and that it runs.";
    return {sentence, cause.what()};
}

}  // namespace

UserError tokenRefused(const QuernlightClient& client, int status) {
    return UserError("The backend at " + client.baseURL().text() + " refuses the token (HTTP " +
                     std::to_string(status) + "); put a valid one into the token file.");
}

Task<std::vector<QLBugSummaryDTO>> fetchListedBugs(QuernlightClient client, int limit) {
    try {
        co_return co_await client.fetchDispatchBugs(limit);
    } catch (const BackendError& error) {
        if (error.isServer(401) || error.isServer(403)) {
            throw tokenRefused(client, error.status());
        }
        throw unavailable(client, error);
    } catch (const TransportError& error) {
        throw unavailable(client, error);
    } catch (const DecodingError& error) {
        throw unavailable(client, error);
    }
}

Task<std::set<std::string>> knownBugIDs(DispatchStore store) {
    std::set<std::string> known = co_await store.retired.bugIDs();
    for (const BugQueueItem& item : co_await store.items.items(wholeQueue)) {
        known.insert(item.bugID);
    }
    co_return known;
}

Task<int> roomForNewBugs(DispatchStore store, Settings settings) {
    const Instant midnight = std::chrono::floor<std::chrono::days>(currentInstant());
    int taken = co_await store.retired.countAddedSince(midnight);
    for (const BugQueueItem& item : co_await store.items.items(wholeQueue)) {
        taken += item.addedAt >= midnight ? 1 : 0;
    }
    co_return settings.intakePerDay - taken;
}

std::string describeCut(const std::string& status, int limit) {
    return "The backend returned " + std::to_string(limit) + " bugs in status \"" + status +
           "\", as many as were asked for; there may be more.";
}

std::string describeLeftForLater(int bugs, int perDay) {
    return std::to_string(bugs) + (bugs == 1 ? " new bug is" : " new bugs are") +
           " left for another day: at most " + std::to_string(perDay) +
           " are taken in a day (setting intake.per_day).";
}

}  // namespace quernlight::host
