#include "host/report/report_text.hpp"

#include "host/text/counted.hpp"
#include "host/text/markdown.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

using enum ReportOutcome;

const char* headingOf(ReportOutcome outcome) {
    switch (outcome) {
        case needsPerson:
            return "Needs you";
        case failed:
            return "Failed";
        case inReview:
            return "In review";
        case merged:
            return "Merged";
        case cancelled:
            return "Cancelled";
        case running:
            return "Still running";
        case queued:
            return "Worked on, and queued again";
    }
    return "";
}

std::string part(int count, const std::string& words) {
    return count == 0 ? "" : ", " + std::to_string(count) + " " + words;
}

std::string totalsText(const ReportTotals& totals) {
    const std::string counts =
        part(totals.inReview, "in review") +
        part(totals.needPerson, std::string(byCount(totals.needPerson, "needs you", "need you"))) +
        part(totals.failed, "failed") + part(totals.merged, "merged") + part(totals.cancelled, "cancelled") +
        part(totals.running, "still running") + part(totals.queued, "queued");
    const std::string work = totals.attempts == 0 ? "No agent worked."
                                                  : "Agents worked for " + workText(totals.worked) + " in " +
                                                        counted(totals.attempts, "attempt") + ".";
    return (counts.empty() ? "Nothing happened" : counts.substr(2)) + ". " + work + "\n";
}

std::string line(const char* name, const std::string& text) {
    return text.empty() ? "" : "  - " + std::string(name) + ": " + text + "\n";
}

std::string timeText(const DoneWork& work) {
    if (work.attempts == 0 || !work.startedAt) {
        return "";
    }
    const std::string span =
        work.endedAt
            ? ", " + workText(std::chrono::floor<std::chrono::seconds>(*work.endedAt - *work.startedAt)) +
                  " from first start to end"
            : "";
    return std::to_string(work.attempts) + ", " + workText(work.worked) + " of work" + span;
}

std::string preservedText(const std::vector<std::string>& references) {
    std::string text;
    for (const std::string& reference : references) {
        text += (text.empty() ? "" : ", ") + markdownCode(reference);
    }
    return text;
}

/// What a browser should not be led to is no link.
std::string linkText(const std::string& address) {
    const bool isOfTheWeb = address.starts_with("https://") || address.starts_with("http://");
    const bool isPlain =
        withoutControls(address) == address && address.find_first_of("<> \\") == address.npos;
    return isOfTheWeb && isPlain ? "<" + address + ">" : markdownCode(address);
}

std::string rowText(const ReportRow& row) {
    const std::string app = row.appName.empty() ? "" : " (" + markdownText(row.appName) + ")";
    return "- **" + markdownText(row.bugID) + "** " + markdownText(row.title) + app + ": " +
           markdownText(row.state) + "\n" + line("Why", markdownText(row.why)) +
           line("Next", markdownText(row.next)) + line("Attempts", timeText(row.work)) +
           line("Branch", row.branch.empty() ? "" : markdownCode(row.branch)) +
           line("Pull request", row.pullRequest ? linkText(row.pullRequest->text()) : "") +
           line("Preserved", preservedText(row.preserved));
}

}  // namespace

std::string workText(std::chrono::seconds time) {
    constexpr std::chrono::hours day(24);
    const auto hours = std::chrono::floor<std::chrono::hours>(time);
    if (time < std::chrono::hours(1)) {
        return shortDuration(time);
    }
    if (time < day) {
        const auto minutes = std::chrono::floor<std::chrono::minutes>(time - hours);
        return std::to_string(hours.count()) + "h" +
               (minutes.count() > 0 ? " " + std::to_string(minutes.count()) + "m" : "");
    }
    const auto rest = (hours % day).count();
    return std::to_string(hours / day) + "d" + (rest > 0 ? " " + std::to_string(rest) + "h" : "");
}

std::string reportMarkdown(const Report& report, const ClockOffset& offset) {
    const auto shown = [&](Instant instant) { return localTime(instant, report.until, offset(instant)); };
    std::string text = "# What the agents did, " + shown(report.since) + " to " + shown(report.until) +
                       "\n\n" + totalsText(report.totals);
    if (!report.dispatcherRuns) {
        text += "\nNo dispatcher runs; start it with: `quernlight-dispatch run`\n";
    }
    if (!report.pullRequestTrouble.empty()) {
        text += "\nPull requests are not known: " + markdownText(report.pullRequestTrouble) + "\n";
    }
    const ReportRow* last = nullptr;
    for (const ReportRow& row : report.rows) {
        if (!last || last->outcome != row.outcome) {
            text += "\n## " + std::string(headingOf(row.outcome)) + "\n\n";
        }
        text += rowText(row);
        last = &row;
    }
    return text;
}

}  // namespace quernlight::host
