#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/shell_text.hpp"
#include "quernlight/platform/identifiers.hpp"

// What the service does with the backend's bugs, in this process.

namespace quernlight::host {
namespace {

Task<std::shared_ptr<const QuernlightClient>> reach(const BackendAccess& backend) {
    if (!backend) {
        throw ServiceError(ServiceErrorCode::unavailable, "The backend cannot be asked from here.");
    }
    co_return co_await backend();
}

Task<std::vector<QLBugSummaryDTO>> listBugs(const BackendAccess& backend, BugQuery query) {
    const auto client = co_await reach(backend);
    co_return co_await client->fetchBugs(std::move(query.statuses), query.limit);
}

Task<QLBugDetailResponse> showDetail(const BackendAccess& backend, std::string bugID) {
    const auto client = co_await reach(backend);
    co_return co_await client->fetchBugDetailWithServerComments(std::move(bugID));
}

Task<QLCreateBugResponse> file(const BackendAccess& backend, NewBug bug) {
    auto client = co_await reach(backend);
    co_return co_await quernlight::host::fileBug(std::move(client), std::move(bug));
}

Task<QLCommentDTO> post(const BackendAccess& backend, BugComment comment) {
    auto client = co_await reach(backend);
    co_return co_await postComment(std::move(client), std::move(comment));
}

Task<void> changeStatus(const BackendAccess& backend, std::string bugID, std::string status) {
    const auto client = co_await reach(backend);
    co_await client->updateBugStatus(std::move(bugID), std::move(status));
}

Task<void> changePullRequest(const BackendAccess& backend, std::string bugID, std::optional<Url> link) {
    const auto client = co_await reach(backend);
    co_await client->updateBugPRURL(std::move(bugID), std::move(link));
}

/// The item, where the home has a queue and the bug is in it.
Task<std::optional<BugQueueItem>> queued(StoreAccess& access, std::string bugID) {
    try {
        const DispatchStore store = co_await access.forReading();
        co_return co_await store.items.item(std::string_view(bugID));
    } catch (const UserError&) {  // there is no home yet
    }
    co_return std::nullopt;
}

Task<void> removeBug(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                     std::string bugID) {
    const auto client = co_await reach(backend);
    const auto found = co_await queued(access, bugID);
    const ItemClaim claim = found && live.claim ? live.claim(found->id) : nullptr;
    const auto item = co_await queued(access, bugID);
    const bool isLocked = item && isReorderLocked(item->status);
    if (item && (isLocked || (live.workOn && live.workOn(item->id) != ItemWork::none))) {
        throw ServiceError(ServiceErrorCode::refused,
                           "Bug " + item->bugID + " is being worked on; cancel that first with: " +
                               "quernlight-dispatch queue cancel " + shellQuoted(item->bugID));
    }
    co_await client->deleteBug(std::move(bugID));
}

Task<void> requireNew(DispatchStore store, std::string bugID) {
    const auto item = co_await store.items.item(std::string_view(bugID));
    const auto retired = co_await store.retired.bug(bugID);
    if (item || retired) {
        throw ServiceError(ServiceErrorCode::refused,
                           retired ? "Bug " + bugID + " was worked on, and its work is merged."
                                   : "Bug " + item->bugID + " is in the queue already (" +
                                         std::string(statusText(*item)) +
                                         "); see: quernlight-dispatch queue show " + item->bugID);
    }
}

/// A new item names its page at the backend, of which only an owner's manager knows the address.
std::shared_ptr<QueueManager> managerFor(const OwnedStore& owned, const LiveSources& live, Url backend) {
    return live.workOn
               ? owned.manager
               : std::make_shared<QueueManager>(owned.store.items, owned.store.mappings, std::move(backend));
}

Task<QueueEntry> addToQueue(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                            std::string bugID, QueueMode mode) {
    auto client = co_await reach(backend);
    const OwnedStore owned = co_await access.forMappings();
    const auto manager = managerFor(owned, live, client->baseURL());
    const std::string whole = BugID::normalized(bugID);
    co_await requireNew(owned.store, whole);
    access.letGo();  // others need not wait for the backend
    QLBugSummaryDTO bug = co_await bugSummary(std::move(client), whole);
    access.takeBack();
    std::string known = BugID::normalized(bug.id);  // the backend may know it by a longer one
    co_await requireNew(owned.store, std::move(known));
    Task<BugQueueItem> adding = manager->enqueue(std::move(bug), mode);
    BugQueueItem item = co_await std::move(adding);
    QueueEntry entry = co_await queueEntry(owned.store, std::move(item));
    if (live.changed) {
        live.changed(entry);
    }
    co_return entry;
}

}  // namespace

Task<std::vector<QLBugSummaryDTO>> DirectService::bugs(BugQuery query) {
    return withServiceErrors(listBugs(backend_, std::move(query)));
}

Task<QLBugDetailResponse> DirectService::bugDetail(std::string bugID) {
    return withServiceErrors(showDetail(backend_, std::move(bugID)));
}

Task<QLCreateBugResponse> DirectService::fileBug(NewBug bug) {
    return withServiceErrors(file(backend_, std::move(bug)));
}

Task<QLCommentDTO> DirectService::comment(BugComment comment) {
    return withServiceErrors(post(backend_, std::move(comment)));
}

Task<void> DirectService::setBugStatus(std::string bugID, std::string status) {
    return withServiceErrors(changeStatus(backend_, std::move(bugID), std::move(status)));
}

Task<void> DirectService::setPullRequest(std::string bugID, std::optional<Url> link) {
    return withServiceErrors(changePullRequest(backend_, std::move(bugID), std::move(link)));
}

Task<void> DirectService::deleteBug(std::string bugID) {
    return withServiceErrors(removeBug(*access_, live_, backend_, std::move(bugID)));
}

Task<QueueEntry> DirectService::enqueue(std::string bugID, QueueMode mode) {
    return withServiceErrors(addToQueue(*access_, live_, backend_, std::move(bugID), mode));
}

}  // namespace quernlight::host
