#include "host/report/report.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/event_kind.hpp"
#include "host/report/report_text.hpp"

namespace quernlight::host {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using testing::HasSubstr;

const Instant until = *parseInstant("2026-03-02T08:00:00Z");
const Instant since = until - hours(12);

ReportedBug bugIn(SessionStage stage) {
    ReportedBug bug{.item = {.bugID = "7c41e0ab", .appName = "Notes", .title = "Crash"}, .stage = stage};
    return bug;
}

/// An event of that kind, so long before the period's end.
ReportedBug with(ReportedBug bug, EventKind kind, hours before, const std::string& message,
                 const std::string& metadata = "{}") {
    bug.history.push_back({.kind = std::string(storedText(kind)),
                           .message = message,
                           .metadataJSON = metadata,
                           .createdAt = until - before});
    return bug;
}

ReportedBug worked(ReportedBug bug, hours before, minutes time) {
    const Instant start = until - before;
    bug.attempts.push_back({.startedAt = start, .endedAt = start + time, .failureReason = "It fell silent."});
    return bug;
}

struct Row {
    const char* name;
    ReportedBug bug;
    std::optional<ReportOutcome> outcome;  // absent: no row
    const char* why = "";
};

TEST(ReportTest, TellsWhatBecameOfEachBugAndWhy) {
    using enum ReportOutcome;
    const auto old = [](SessionStage stage) { return worked(bugIn(stage), hours(40), minutes(5)); };
    const std::vector<Row> rows{
        {"asked", with(bugIn(SessionStage::needsReply), EventKind::awaitingUserInput, hours(3), "Which one?"),
         needsPerson, "Asks: Which one?"},
        {"asked long ago",
         with(bugIn(SessionStage::needsReply), EventKind::awaitingUserInput, hours(30), "Which one?"),
         needsPerson, "Asks: Which one?"},
        {"asks at its terminal",
         with(bugIn(SessionStage::needsPerson), EventKind::needsPerson, hours(1), "It asks to log in."),
         needsPerson, "Asks: It asks to log in."},
        {"no mapping", bugIn(SessionStage::needsMapping), needsPerson,
         "No repository is mapped for its app."},
        {"stopped by a person",
         with(bugIn(SessionStage::needsStart), EventKind::sessionStopped, hours(1), "Stopped."), needsPerson,
         "Stopped."},
        {"held", bugIn(SessionStage::needsStart), needsPerson, "It is held in the manual queue."},
        {"failed", worked(bugIn(SessionStage::failed), hours(2), minutes(9)), failed, "It fell silent."},
        {"in review now", with(bugIn(SessionStage::inReview), EventKind::completed, hours(2), "Reported."),
         inReview, "Reported."},
        {"in review since long ago", old(SessionStage::inReview), std::nullopt},
        {"cancelled now", with(bugIn(SessionStage::cancelled), EventKind::cancelled, hours(2), "By you."),
         cancelled, "By you."},
        {"cancelled long ago", old(SessionStage::cancelled), std::nullopt},
        {"works", bugIn(SessionStage::working), running},
        {"its end unseen", bugIn(SessionStage::toReconcile), running,
         "How its session ended is not known; the dispatcher finds out at its next start."},
        {"waits to go on", worked(bugIn(SessionStage::queued), hours(2), minutes(9)), queued,
         "It fell silent."},
        {"just came in", with(bugIn(SessionStage::queued), EventKind::enqueued, hours(1), "New."),
         std::nullopt},
        {"was moved", with(bugIn(SessionStage::queued), EventKind::queuedNext, hours(1), "First."),
         std::nullopt},
    };
    for (const Row& row : rows) {
        const Report report = reportOf({.queued = {row.bug}}, since, until);
        ASSERT_EQ(report.rows.empty(), !row.outcome) << row.name;
        if (row.outcome) {
            EXPECT_EQ(report.rows[0].outcome, *row.outcome) << row.name;
            EXPECT_EQ(report.rows[0].why, row.why) << row.name;
        }
    }
}

/// A night: one bug asked, one failed after two attempts, one is in review, one was merged and two wait.
Report night() {
    ReportedBug asked = with(bugIn(SessionStage::needsReply), EventKind::awaitingUserInput, hours(3),
                             "Which *steps* lead there?");
    asked.next = "answer it";
    ReportedBug crashed =
        worked(worked(bugIn(SessionStage::failed), hours(9), minutes(30)), hours(2), minutes(9));
    crashed.item.bugID = "36f675cc";
    crashed = with(crashed, EventKind::workPreserved, hours(1), "Kept.", R"({"ref":"refs/kept"})");
    ReportedBug done =
        worked(with(bugIn(SessionStage::inReview), EventKind::completed, hours(5), "Reported."), hours(6),
               minutes(60));
    done.item.bugID = "2e9b6d14";
    done.pullRequest = Url::parse("https://git.example/pull/7");
    const RetiredBug gone{.bugID = "907a70c3",
                          .title = "Paste",
                          .appName = "Notes",
                          .work = {.attempts = 1, .worked = minutes(3)}};
    const ReportSource source{
        .queued = {done, bugIn(SessionStage::queued), crashed, bugIn(SessionStage::queued), asked},
        .retired = {gone},
        .dispatcherRuns = true};
    return reportOf(source, since, until);
}

TEST(ReportTest, WhatNeedsAPersonComesFirst) {
    std::vector<std::string> order;
    for (const ReportRow& row : night().rows) {
        order.push_back(row.bugID);
    }
    EXPECT_THAT(order, testing::ElementsAre("7c41e0ab", "36f675cc", "2e9b6d14", "907a70c3"));
}

/// It worked for hours last week, and for the last ten minutes of its life in the period.
TEST(ReportTest, OfAMergedBugOnlyTheWorkInThePeriodCounts) {
    const RetiredBug gone{
        .bugID = "907a70c3",
        .work = {.attempts = 2, .worked = hours(9)},
        .spans = {{until - hours(100), until - hours(92)}, {since - minutes(50), since + minutes(10)}}};
    const Report report = reportOf({.retired = {gone}}, since, until);
    EXPECT_EQ(report.totals.worked, minutes(10));
    EXPECT_EQ(report.totals.attempts, 1);
}

TEST(ReportTest, AllReferencesOfAMergedBugAreNamed) {
    const RetiredBug gone{.bugID = "907a70c3", .preservedReference = "refs/a, refs/b"};
    const Report report = reportOf({.retired = {gone}}, since, until);
    EXPECT_THAT(report.rows.at(0).preserved, testing::ElementsAre("refs/a", "refs/b"));
}

TEST(ReportTest, TotalsCountRowsAndAllThatWaits) {
    const ReportTotals expected{.inReview = 1,
                                .needPerson = 1,
                                .failed = 1,
                                .merged = 1,
                                .queued = 2,
                                .attempts = 4,
                                .worked = minutes(102)};
    EXPECT_EQ(night().totals, expected);
}

TEST(ReportTest, IsMarkdownInWhichTextsFromOutsideAreNoMarkup) {
    const std::string text = reportMarkdown(night(), [](Instant) { return hours(1); });
    EXPECT_EQ(text,
              "# What the agents did, Sun 21:00 to 09:00\n"
              "\n"
              "1 in review, 1 needs you, 1 failed, 1 merged, 2 queued. Agents worked for 1h 42m in 4 "
              "attempts.\n"
              "\n"
              "## Needs you\n"
              "\n"
              "- **7c41e0ab** Crash (Notes): needs reply\n"
              "  - Why: Asks: Which \\*steps\\* lead there?\n"
              "  - Next: answer it\n"
              "\n"
              "## Failed\n"
              "\n"
              "- **36f675cc** Crash (Notes): failed\n"
              "  - Why: It fell silent.\n"
              "  - Attempts: 2, 39m of work, 7h 9m from first start to end\n"
              "  - Branch: `Notes-36f675cc`\n"
              "  - Preserved: `refs/kept`\n"
              "\n"
              "## In review\n"
              "\n"
              "- **2e9b6d14** Crash (Notes): in review\n"
              "  - Why: Reported.\n"
              "  - Attempts: 1, 1h of work, 1h from first start to end\n"
              "  - Branch: `Notes-2e9b6d14`\n"
              "  - Pull request: <https://git.example/pull/7>\n"
              "\n"
              "## Merged\n"
              "\n"
              "- **907a70c3** Paste (Notes): merged\n"
              "  - Why: Its pull request is merged; its worktree is gone.\n"
              "  - Branch: `Notes-907a70c3`\n");
}

TEST(ReportTest, SaysThatNothingHappened) {
    const std::string text = reportMarkdown(reportOf({}, since, until), [](Instant) { return hours(0); });
    EXPECT_THAT(text, HasSubstr("Nothing happened. No agent worked.\n"));
    EXPECT_THAT(text, HasSubstr("No dispatcher runs; start it with: `quernlight-dispatch run`\n"));
}

}  // namespace
}  // namespace quernlight::host
