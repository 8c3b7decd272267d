#include "host/live/live_snapshot.hpp"

#include <algorithm>

#include "host/events/session_stage.hpp"
#include "host/text/relative_time.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// The latest of its times that is known.
Instant sinceOf(const BugQueueItem& item) {
    Instant since = item.addedAt;
    for (const auto& later : {item.startedAt, item.completedAt, item.cancelledAt}) {
        since = later ? std::max(since, *later) : since;
    }
    return since;
}

LiveBug bugOf(const QueueEntry& entry) {
    const BugQueueItem& item = entry.item;
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .stage = entry.stage,
            .detail = item.errorMessage.value_or(""),
            .since = sinceOf(item),
            .isManual = item.queueMode == QueueMode::manual};
}

void add(LiveBug& bug, const RunningSession& session) {
    bug.stage = session.stage;
    bug.exitCode = session.exitCode;
    bug.detail = session.detail.empty() ? session.lastLine : session.detail;
    bug.since = session.since.value_or(bug.since);
    bug.isFollowed = session.stage != SessionStage::toReconcile;
}

bool isOfToday(Instant instant, Instant now, std::chrono::seconds offset) {
    const auto day = [offset](Instant time) {
        return std::chrono::floor<std::chrono::days>((time + offset).time_since_epoch());
    };
    return day(instant) == day(now);
}

/// Questions before failures, and what only wants to be arranged last.
int urgency(const LiveBug& bug) {
    switch (bug.stage) {
        case SessionStage::needsPerson:
            return 0;
        case SessionStage::needsReply:
            return 1;
        case SessionStage::failed:
            return 2;
        default:
            return 3;
    }
}

}  // namespace

std::optional<LiveSection> sectionOf(const LiveBug& bug) {
    if (needsAttention(bug.stage)) {
        return LiveSection::needsYou;
    }
    if (isRunning(bug.stage) || bug.stage == SessionStage::toReconcile) {
        return LiveSection::running;
    }
    if (bug.stage == SessionStage::inReview) {
        return LiveSection::review;
    }
    const bool waits = bug.stage == SessionStage::queued || bug.stage == SessionStage::queuedToResume;
    return waits ? std::optional(LiveSection::queued) : std::nullopt;
}

LiveSnapshot liveSnapshot(const LiveAnswers& answers, Instant now, std::chrono::seconds offset) {
    LiveSnapshot snapshot{.isKnown = true,
                          .owner = answers.health.owner,
                          .backendTrouble = answers.health.backend.trouble,
                          .alerts = answers.health.alerts,
                          .mappings = answers.mappings};
    for (const QueueEntry& entry : answers.queue) {
        LiveBug bug = bugOf(entry);
        const auto session = std::ranges::find(answers.sessions, bug.bugID, &RunningSession::bugID);
        if (session != answers.sessions.end()) {
            add(bug, *session);
        }
        const auto question = answers.questions.find(bug.bugID);
        if (bug.stage == SessionStage::needsReply && question != answers.questions.end()) {
            bug.detail = question->second;
        }
        snapshot.takenInToday += isOfToday(entry.item.addedAt, now, offset) ? 1 : 0;
        snapshot.bugs.push_back(std::move(bug));
    }
    return snapshot;
}

BugsBySection listedBugs(const LiveSnapshot& snapshot, const std::string& filter) {
    BugsBySection listed;
    for (const LiveBug& bug : snapshot.bugs) {
        const auto section = sectionOf(bug);
        const bool fits = containsIgnoringCase(bug.bugID + " " + bug.title + " " + bug.appName, filter);
        if (section && (filter.empty() || fits)) {
            listed[*section].push_back(&bug);
        }
    }
    // Those of one urgency stay in their order, which is that of their places in the snapshot.
    std::ranges::sort(listed[LiveSection::needsYou], {},
                      [](const LiveBug* bug) { return std::pair(urgency(*bug), bug); });
    return listed;
}

std::vector<const LiveBug*> inOrder(const BugsBySection& listed) {
    std::vector<const LiveBug*> all;
    for (const auto& [section, bugs] : listed) {
        all.insert(all.end(), bugs.begin(), bugs.end());
    }
    return all;
}

std::vector<std::string> waitsFor(const LiveSnapshot& snapshot, Instant now, std::chrono::seconds offset) {
    if (!snapshot.isKnown) {
        return {snapshot.trouble.empty() ? "Looking …" : snapshot.trouble};
    }
    std::vector<std::string> lines{"There are no bugs."};
    if (snapshot.mappings == 0) {
        lines.emplace_back("No app has a repository; name one with: quernlight-dispatch map set");
    }
    if (!snapshot.owner) {
        lines.emplace_back("No dispatcher runs; start it with: quernlight-dispatch run");
    } else if (snapshot.owner->nextPollAt) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(
            (*snapshot.owner->nextPollAt + offset).time_since_epoch());
        const std::string second = std::to_string(seconds.count() % 60);
        lines.push_back("The backend is asked for bugs at " +
                        localTime(*snapshot.owner->nextPollAt, now, offset) + ":" +
                        (second.size() < 2 ? "0" : "") + second + ".");
    }
    return lines;
}

}  // namespace quernlight::host
