#include <exception>
#include <optional>

#include <boost/system/system_error.hpp>

#include "host/process/home_lock.hpp"
#include "host/process/time_limit.hpp"
#include "host/process/user_error.hpp"
#include "host/recovery/recovery.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"

namespace quernlight::host {
namespace {

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

/// Somebody else has the home or has changed the item. No std::exception, of which recovery thinks that the
/// backend has failed.
struct Interfered {
    std::string sentence;
};

bool isSame(const BugQueueItem& item, const std::optional<BugQueueItem>& now) {
    return now && *now == item;
}

Task<std::optional<Instant>> endOfLastAttempt(DispatchStore store, Uuid itemID) {
    const auto attempt = co_await store.attempts.latestAttempt(itemID);
    co_return attempt ? attempt->endedAt : std::nullopt;
}

/// Nobody is kept from storing a wish while the backend is waited for. What others have done of the item
/// meanwhile counts; who asked looks anew then.
Task<ReadableList<QLCommentDTO>> askApart(StoreAccess& access, OwnedStore owned, BugQueueItem item,
                                          Task<ReadableList<QLCommentDTO>> asking) {
    constexpr std::chrono::seconds longestAnswer{10};
    SystemClock clock;
    const auto endBefore = co_await endOfLastAttempt(owned.store, item.id);
    access.letGo();
    std::exception_ptr failure;
    ReadableList<QLCommentDTO> comments;
    try {
        comments = co_await withTimeLimit(clock, longestAnswer, std::move(asking));
    } catch (const boost::system::system_error&) {
        throw;  // who asked has gone
    } catch (...) {
        failure = std::current_exception();
    }
    try {
        access.takeBack();
    } catch (const HomeOwnedError& error) {
        throw Interfered{error.what()};
    }
    const auto endNow = co_await endOfLastAttempt(owned.store, item.id);
    const auto now = co_await owned.store.items.item(item.id);
    if (!isSame(item, now) || endNow != endBefore) {
        throw Interfered{"Bug " + item.bugID + " was changed a moment ago; look at it and try again."};
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    co_return comments;
}

}  // namespace

Task<std::string> reconcileUnattended(StoreAccess& access, OwnedStore owned, BackendAccess backend,
                                      BugQueueItem item) {
    SystemClock clock;
    EventPublisher events;
    std::string trouble;
    BackendHealth health(clock, [&trouble](const std::string& sentence) { trouble = sentence; });
    const Recovery recovery({.store = owned.store,
                             .manager = *owned.manager,
                             .clock = clock,
                             .health = health,
                             .fetchComments = [&, item](const std::string&) {
                                 return askApart(access, owned, item, askOnce(backend, events, item));
                             }});
    const Interruption cause;
    std::string waits;
    try {
        waits = co_await recovery.reconcile(item, cause);
    } catch (const Interfered& interfered) {
        throw ServiceError(ServiceErrorCode::busy, interfered.sentence);
    }
    if (!trouble.empty()) {
        waits += " (" + trouble + ")";
    }
    co_return waits;
}

}  // namespace quernlight::host
