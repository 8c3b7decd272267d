#include <stdexcept>

#include "host/process/time_limit.hpp"
#include "host/process/user_error.hpp"
#include "host/recovery/recovery.hpp"
#include "host/service/stored_operations.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds longestAnswer{10};

/// Another backend knows nothing of the bug, which must not be taken for an agent that has not reported.
void requireItsOwn(const QuernlightClient& client, const BugQueueItem& item) {
    const Url page = client.baseURL().appendingPath({"v1", "bugs", "view", item.bugID});
    if (page.text() != item.bugURL.text()) {
        throw UserError("The bug comes from another backend (" + item.bugURL.text() +
                        ") than the one that is set (" + client.baseURL().text() +
                        "); set its own with: quernlight-dispatch config set backend.url URL");
    }
}

Task<ReadableList<QLCommentDTO>> askOnce(BackendAccess backend, EventPublisher& events, BugQueueItem item) {
    if (!backend) {
        throw UserError("The backend cannot be asked from here.");
    }
    const std::shared_ptr<const QuernlightClient> client = co_await backend();
    requireItsOwn(*client, item);
    co_return co_await fetchCommentsIfAny(*client, events, item.bugID);
}

}  // namespace

Task<std::string> reconcileUnattended(OwnedStore owned, BackendAccess backend, BugQueueItem item) {
    SystemClock clock;
    EventPublisher events;
    std::string trouble;
    BackendHealth health(clock, [&trouble](const std::string& sentence) { trouble = sentence; });
    const Recovery recovery({.store = owned.store,
                             .manager = *owned.manager,
                             .clock = clock,
                             .health = health,
                             .fetchComments = [&, item](const std::string&) {
                                 return withTimeLimit(clock, longestAnswer, askOnce(backend, events, item));
                             }});
    const Interruption cause;
    std::string waits = co_await recovery.reconcile(item, cause);
    if (!trouble.empty()) {
        waits += " (" + trouble + ")";
    }
    co_return waits;
}

}  // namespace quernlight::host
