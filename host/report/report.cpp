#include "host/report/report.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/events/history_look.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

using enum ReportOutcome;

constexpr std::array<std::pair<ReportOutcome, std::string_view>, 7> names{{
    {needsPerson, "needs_person"},
    {failed, "failed"},
    {inReview, "in_review"},
    {merged, "merged"},
    {cancelled, "cancelled"},
    {running, "running"},
    {queued, "queued"},
}};

ReportOutcome outcomeOf(SessionStage stage) {
    if (stage == SessionStage::failed) {
        return failed;
    }
    if (needsAttention(stage)) {
        return needsPerson;
    }
    if (isRunning(stage) || stage == SessionStage::toReconcile) {
        return running;
    }
    if (stage == SessionStage::inReview) {
        return inReview;
    }
    return stage == SessionStage::cancelled ? cancelled : queued;
}

/// That a bug came in, or was put elsewhere in its queue, is no work on it.
bool isWork(const QueueEvent& event) {
    const auto kind = parseEventKind(event.kind);
    return kind != EventKind::enqueued && kind != EventKind::reordered && kind != EventKind::queuedNext &&
           kind != EventKind::queueModeChanged;
}

bool isShown(const ReportedBug& bug, const ReportRow& row, Instant since) {
    return row.outcome == needsPerson || row.outcome == failed || row.outcome == running ||
           row.work.attempts > 0 || std::ranges::any_of(bug.history, [since](const QueueEvent& event) {
               return event.createdAt >= since && isWork(event);
           });
}

std::string lastMessage(const ReportedBug& bug, EventKind kind) {
    const QueueEvent* event = lastEvent(bug.history, kind);
    return event ? event->message : "";
}

std::string orElse(std::string text, std::string otherwise) {
    return text.empty() ? std::move(otherwise) : std::move(text);
}

std::string failureOf(const ReportedBug& bug) {
    const std::string known = bug.item.errorMessage.value_or("");
    return known.empty() && !bug.attempts.empty() ? bug.attempts.back().failureReason.value_or("") : known;
}

std::string whyOf(const ReportedBug& bug) {
    switch (bug.stage) {
        case SessionStage::needsReply:
        case SessionStage::needsPerson:
            return "Asks: " + questionOf(bug.history, bug.stage);
        case SessionStage::needsMapping:
            return orElse(failureOf(bug), "No repository is mapped for its app.");
        case SessionStage::needsStart:
            return orElse(lastMessage(bug, EventKind::sessionStopped), "It is held in the manual queue.");
        case SessionStage::toReconcile:
            return "How its session ended is not known; the dispatcher finds out at its next start.";
        case SessionStage::inReview:
            return lastMessage(bug, EventKind::completed);
        case SessionStage::cancelled:
            return lastMessage(bug, EventKind::cancelled);
        default:
            return failureOf(bug);
    }
}

ReportRow rowOf(const ReportedBug& bug, const WorkPeriod& period) {
    const BugQueueItem& item = bug.item;
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .outcome = outcomeOf(bug.stage),
            .state = std::string(statusText(bug.stage)),
            .why = whyOf(bug),
            .next = bug.next,
            .work = doneWork(bug.attempts, period),
            .branch = bug.attempts.empty() ? "" : WorktreeNaming::branchName(item.appName, item.bugID),
            .pullRequest = bug.pullRequest,
            .preserved = preservedReferences(bug.history)};
}

/// No reference has a blank in it.
std::vector<std::string> referencesIn(std::string_view text) {
    constexpr std::string_view separator = ", ";
    std::vector<std::string> references;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        references.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + separator.size(), text.size()));
    }
    return references;
}

ReportRow rowOf(const RetiredBug& bug, const WorkPeriod& period) {
    ReportRow row{.bugID = bug.bugID,
                  .appName = bug.appName,
                  .title = bug.title,
                  .outcome = merged,
                  .state = "merged",
                  .why = "Its pull request is merged; its worktree is gone.",
                  .work = bug.spans.empty() ? within(bug.work, period) : doneWork(bug.spans, period),
                  .branch = bug.appName.empty() ? "" : WorktreeNaming::branchName(bug.appName, bug.bugID),
                  .pullRequest = bug.pullRequest};
    row.preserved = referencesIn(bug.preservedReference.value_or(""));
    return row;
}

void count(ReportTotals& totals, const ReportRow& row) {
    totals.inReview += row.outcome == inReview ? 1 : 0;
    totals.needPerson += row.outcome == needsPerson ? 1 : 0;
    totals.failed += row.outcome == failed ? 1 : 0;
    totals.merged += row.outcome == merged ? 1 : 0;
    totals.cancelled += row.outcome == cancelled ? 1 : 0;
    totals.running += row.outcome == running ? 1 : 0;
    totals.attempts += row.work.attempts;
    totals.worked += row.work.worked;
}

/// The rows of each outcome in their order.
std::vector<ReportRow> byOutcome(std::vector<ReportRow> rows) {
    std::vector<ReportRow> ordered;
    for (const auto& [outcome, name] : names) {
        for (ReportRow& row : rows) {
            if (row.outcome == outcome) {
                ordered.push_back(std::move(row));
            }
        }
    }
    return ordered;
}

}  // namespace

std::string_view outcomeName(ReportOutcome outcome) {
    return std::ranges::find(names, outcome, &std::pair<ReportOutcome, std::string_view>::first)->second;
}

std::optional<ReportOutcome> parseOutcomeName(std::string_view name) {
    const auto* found = std::ranges::find(names, name, &std::pair<ReportOutcome, std::string_view>::second);
    return found == names.end() ? std::nullopt : std::optional(found->first);
}

Report reportOf(const ReportSource& source, Instant since, Instant until) {
    Report report{.since = since,
                  .until = until,
                  .dispatcherRuns = source.dispatcherRuns,
                  .pullRequestTrouble = source.pullRequestTrouble};
    for (const ReportedBug& bug : source.queued) {
        const WorkPeriod period{.since = since, .until = until, .isWorkedOn = isRunning(bug.stage)};
        ReportRow row = rowOf(bug, period);
        report.totals.queued += row.outcome == queued ? 1 : 0;
        if (isShown(bug, row, since)) {
            report.rows.push_back(std::move(row));
        }
    }
    const WorkPeriod whole{.since = since, .until = until};
    std::ranges::transform(source.retired, std::back_inserter(report.rows),
                           [&](const RetiredBug& bug) { return rowOf(bug, whole); });
    for (const ReportRow& row : report.rows) {
        count(report.totals, row);
    }
    report.rows = byOutcome(std::move(report.rows));
    return report;
}

}  // namespace quernlight::host
