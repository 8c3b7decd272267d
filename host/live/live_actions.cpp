#include "host/live/live_actions.hpp"

#include <algorithm>

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/system/system_error.hpp>

#include "host/control/control_client.hpp"
#include "host/live/browser.hpp"
#include "host/service/queue_text.hpp"
#include "host/service/service_error.hpp"
#include "host/service/start_resource.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds longestUnpause{20};

QueueChange changeOf(const LiveWish& wish) {
    QueueChange change{.action = QueueAction::cancel, .bugID = wish.bugID};
    change.consent = {.again = wish.isConfirmed, .confirmed = wish.isConfirmed};
    if (wish.action == LiveAction::retry) {
        change.action = QueueAction::retry;
    } else if (wish.action == LiveAction::next) {
        change.action = QueueAction::next;
    }
    return change;
}

std::string sentenceOf(const QueueChange& change, const QueueEntry& entry) {
    const std::string bug = "Bug " + entry.item.bugID;
    if (change.action == QueueAction::next) {
        return bug + " is started next.";
    }
    if (change.action == QueueAction::reorder) {
        return bug + (change.before.empty() ? " goes last in its queue."
                                            : " goes in front of " + change.before + ".");
    }
    return bug + ": " + stageInQueue(entry) + ".";
}

Task<LiveOutcome> changed(LiveWish wish, DispatchService& service) {
    QueueChange change = changeOf(wish);
    const QueueEntry entry = co_await service.change(change);
    co_return LiveOutcome{.sentence = sentenceOf(change, entry)};
}

Task<LiveOutcome> answered(LiveWish wish, DispatchService& service) {
    BugComment comment{.bugID = wish.bugID, .body = wish.text};
    co_await service.comment(std::move(comment));
    co_return LiveOutcome{.sentence = "The answer is on bug " + wish.bugID +
                                      "; it is worked on again once the dispatcher has seen it."};
}

bool waits(const QueueEntry& entry) {
    return entry.stage == SessionStage::queued || entry.stage == SessionStage::queuedToResume;
}

/// What is drawn may be older than the queue.
Task<LiveOutcome> moved(LiveWish wish, DispatchService& service) {
    const QueueList queue = co_await service.queue();
    auto place = placeOf(wish, queue.entries);
    if (!place) {
        co_return LiveOutcome{
            .sentence = "The queue has changed; bug " + wish.bugID + " was left where it is. Look again.",
            .isTrouble = true};
    }
    QueueChange change{.action = QueueAction::reorder, .bugID = wish.bugID};
    change.before = std::move(*place);
    const QueueEntry entry = co_await service.change(change);
    co_return LiveOutcome{.sentence = sentenceOf(change, entry)};
}

/// That of its pull request, where there is one, else the bug's own page.
Task<Url> pageOf(LiveWish wish, DispatchService& service) {
    for (const ReviewItem& review : co_await service.review()) {
        if (review.item.bugID == wish.bugID && review.pullRequest) {
            co_return *review.pullRequest;
        }
    }
    const QueueItemDetails details = co_await service.queueItem(wish.bugID);
    co_return details.item.bugURL;
}

Task<LiveOutcome> opened(LiveWish wish, DispatchService& service) {
    const Url page = co_await pageOf(std::move(wish), service);
    openInBrowser(page, currentEnvironmentMap());
    co_return LiveOutcome{.sentence = "Opened " + page.text()};
}

Task<LiveOutcome> unpaused(std::filesystem::path home) {
    ControlRequest request{.method = "POST", .target = "/v1/starts/unpause"};
    const ControlResponse response = co_await askOwner(std::move(home), std::move(request), longestUnpause);
    if (const auto refusal = problemOf(response)) {
        throw UserError(refusal->detail);
    }
    boost::system::error_code error;
    const boost::json::value answer = boost::json::parse(response.body, error);
    if (error || !answer.is_object()) {
        throw UserError("The dispatcher answers in a form that is not known here.");
    }
    co_return LiveOutcome{.sentence = withoutControls(endedPausesText(answer.get_object()))};
}

Task<LiveOutcome> tried(LiveWish wish, DispatchService& service, std::filesystem::path home) {
    switch (wish.action) {
        case LiveAction::answer:
            return answered(std::move(wish), service);
        case LiveAction::open:
            return opened(std::move(wish), service);
        case LiveAction::unpause:
            return unpaused(std::move(home));
        case LiveAction::moveUp:
        case LiveAction::moveDown:
            return moved(std::move(wish), service);
        default:
            return changed(std::move(wish), service);
    }
}

/// What only needs a yes is asked.
LiveOutcome refused(const LiveWish& wish, const ServiceError& error) {
    if (error.code() == ServiceErrorCode::needsConfirmation && !wish.isConfirmed) {
        return {.question = LiveQuestion{.sentence = withoutControls(error.what()), .wish = wish}};
    }
    return {.sentence = failureSentence(error), .isTrouble = true};
}

}  // namespace

std::optional<std::string> placeOf(const LiveWish& move, const std::vector<QueueEntry>& queue) {
    const auto named =
        std::ranges::find(queue, move.bugID, [](const QueueEntry& one) { return one.item.bugID; });
    if (named == queue.end() || !waits(*named)) {
        return std::nullopt;
    }
    std::vector<std::string> ids;
    for (const QueueEntry& entry : queue) {
        if (waits(entry) && entry.item.queueMode == named->item.queueMode) {
            ids.push_back(entry.item.bugID);
        }
    }
    const auto at = std::ranges::find(ids, move.bugID) - ids.begin();
    const auto past = std::ranges::find(ids, move.text) - ids.begin();
    if (past == std::ssize(ids) || past != (move.action == LiveAction::moveUp ? at - 1 : at + 1)) {
        return std::nullopt;
    }
    const auto before = move.action == LiveAction::moveUp ? past : past + 1;
    return before == std::ssize(ids) ? "" : ids[static_cast<std::size_t>(before)];
}

Task<LiveOutcome> done(LiveWish wish, DispatchService& service, std::filesystem::path home) {
    try {
        co_return co_await tried(wish, service, std::move(home));
    } catch (const ServiceError& error) {
        co_return refused(wish, error);
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        co_return LiveOutcome{.sentence = failureSentence(error), .isTrouble = true};
    } catch (const std::exception& error) {
        co_return LiveOutcome{.sentence = failureSentence(error), .isTrouble = true};
    }
}

}  // namespace quernlight::host
