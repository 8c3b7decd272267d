#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/events/session_stage.hpp"
#include "host/store/done_work.hpp"
#include "host/store/retired_bugs.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

/// What has become of a bug, in the order in which a person looks at it.
enum class ReportOutcome {
    needsPerson,  ///< nothing goes on until a person has acted
    failed,
    inReview,
    merged,
    cancelled,
    running,
    queued,
};

/// "needs_person"
std::string_view outcomeName(ReportOutcome outcome);
std::optional<ReportOutcome> parseOutcomeName(std::string_view name);

/// A bug of the queue, with all that is known of it.
struct ReportedBug {
    BugQueueItem item{};
    SessionStage stage{};                          ///< what its session does, as a dispatcher that runs knows
    std::vector<QueueEvent> history{};             ///< oldest first
    std::vector<SessionAttemptRecord> attempts{};  ///< oldest first
    std::optional<Url> pullRequest{};
    std::string next{};  ///< what a person does next; empty: nothing
};

/// What a report is made of.
struct ReportSource {
    std::vector<ReportedBug> queued{};  ///< in the queue's order
    std::vector<RetiredBug> retired{};  ///< within the period
    bool dispatcherRuns = false;
    std::string pullRequestTrouble{};  ///< why links are not known; empty when they are
};

struct ReportRow {
    std::string bugID{};
    std::string appName{};  ///< empty where it is not known any more
    std::string title{};
    ReportOutcome outcome{};
    std::string state{};  ///< in words: "needs reply"
    std::string why{};    ///< it stopped there, in one sentence; may be empty
    std::string next{};
    DoneWork work{};
    std::string branch{};  ///< empty before its first attempt
    std::optional<Url> pullRequest{};
    std::vector<std::string> preserved{};  ///< references at which its work was kept, oldest first

    bool operator==(const ReportRow&) const = default;
};

/// How many rows have each outcome; of those that wait, how many the whole queue has.
struct ReportTotals {
    int inReview = 0;
    int needPerson = 0;
    int failed = 0;
    int merged = 0;
    int cancelled = 0;
    int running = 0;
    int queued = 0;
    int attempts = 0;
    std::chrono::seconds worked{0};

    bool operator==(const ReportTotals&) const = default;
};

struct Report {
    Instant since{};
    Instant until{};
    bool dispatcherRuns = false;
    std::string pullRequestTrouble{};  ///< why links are not known; empty when they are
    ReportTotals totals{};
    std::vector<ReportRow> rows{};  ///< what needs a person first
};

/// The bugs with which something happened from `since` to `until`, those that need a person and those that
/// are being worked on. Pure.
Report reportOf(const ReportSource& source, Instant since, Instant until);

}  // namespace quernlight::host
