#include "host/session/session_comments.hpp"

#include <algorithm>
#include <utility>

#include "host/health/unreadable_records.hpp"
#include "host/process/time_limit.hpp"
#include "host/session/sought_report.hpp"
#include "host/text/failure_sentence.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds lookInterval{3};
constexpr std::chrono::seconds timeout{10};
constexpr std::chrono::seconds timeoutAtShutdown{3};

}  // namespace

void SessionComments::beginPolling(TaskSet& tasks, SessionMailbox::Continuation mailbox) {
    tasks.add("polling comments of bug " + state_.item.bugID,
              pollComments(polling_, pollState(), std::move(mailbox)));
}

void SessionComments::take(CommentsChanged comments) {
    state_.watched.activity.lastCommentPollWithNewCommentAt = comments.at;
    state_.newestComment = std::max(state_.newestComment, comments.newest);
    if (comments.detection) {
        state_.watched.detection = std::move(comments.detection);
    }
}

void SessionComments::take(const CommentTrouble& trouble) {
    alert(trouble.reason.empty()
              ? ""
              : "The comments of bug " + state_.item.bugID + " cannot be read: " + trouble.reason);
}

void SessionComments::end() {
    alert("");
}

void SessionComments::alert(const std::string& sentence) {
    polling_.events.alert({AlertTopic::comments, state_.item.bugID}, sentence);
}

Task<void> SessionComments::lookForReport() {
    Clock& clock = polling_.clock;
    if (clock.steadyNow() < nextLook_) {
        co_return;
    }
    bool isKnown = false;
    if (clock.steadyNow() >= polling_.health.askAgainAt()) {
        isKnown = co_await learn(stop_.unlessRaised(StopLevel::stop, fetch()));
    }
    if (!isKnown && !stop_.isStopping()) {
        log_.show(SessionStage::askingBackend, state_.progress.detail);
    }
    nextLook_ = clock.steadyNow() + lookInterval;
}

/// Whether the backend could be asked.
Task<bool> SessionComments::learn(Task<ReadableList<QLCommentDTO>> fetching) {
    WatchedSession& watched = state_.watched;
    const Instant begun = polling_.clock.now();
    ReadableList<QLCommentDTO> fetched;
    try {
        fetched = co_await std::move(fetching);
    } catch (const std::exception& error) {
        const bool isAway = stop_.isStopping() || polling_.health.failed(error);
        watched.commentTrouble = isAway ? "" : failureSentence(error);
        co_return false;
    }
    polling_.health.answered();
    watched.commentTrouble = fetched.unreadable.empty() ? "" : describe(fetched.unreadable.front());
    watched.commentsKnownAt = begun;
    watched.detection = CompletionDetector::detectOutcome(fetched.records, pollState());
    const auto newest = newestCreation(fetched.records);
    if (newest > std::max(state_.newestComment, std::optional(state_.attempt.startedAt))) {
        state_.newestComment = newest;
        watched.activity.lastCommentPollWithNewCommentAt = begun;
    }
    co_return true;
}

Task<bool> SessionComments::learnLast() {
    if (!state_.watched.goalTyped || state_.watched.detection) {
        co_return true;
    }
    auto fetching = fetch();
    if (stop_.isStopping()) {
        fetching = withTimeLimit(polling_.clock, timeoutAtShutdown, std::move(fetching));
    }
    co_return co_await learn(std::move(fetching));
}

/// The wait for its turn says nothing of the backend.
Task<ReadableList<QLCommentDTO>> SessionComments::fetch() {
    co_await turnToAsk(polling_.rateLimiter, polling_.clock);
    co_return co_await withTimeLimit(polling_.clock, timeout, polling_.fetch(state_.item.bugID));
}

CompletionPollState SessionComments::pollState() const {
    return soughtReport(state_.item, state_.sessionID, state_.attempt.startedAt);
}

}  // namespace quernlight::host
