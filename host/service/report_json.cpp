#include "host/service/report_json.hpp"

#include "host/service/json_fields.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

json::object jsonOf(const ReportTotals& totals) {
    return {{"in_review", totals.inReview},
            {"need_person", totals.needPerson},
            {"failed", totals.failed},
            {"merged", totals.merged},
            {"cancelled", totals.cancelled},
            {"running", totals.running},
            {"queued", totals.queued},
            {"attempts", totals.attempts},
            {"worked_seconds", totals.worked.count()}};
}

ReportTotals readTotals(const json::value& value) {
    const JsonFields fields(value);
    const auto count = [&](std::string_view name) { return static_cast<int>(fields.integer(name)); };
    return {.inReview = count("in_review"),
            .needPerson = count("need_person"),
            .failed = count("failed"),
            .merged = count("merged"),
            .cancelled = count("cancelled"),
            .running = count("running"),
            .queued = count("queued"),
            .attempts = count("attempts"),
            .worked = std::chrono::seconds(fields.integer("worked_seconds"))};
}

json::object jsonOf(const ReportRow& row) {
    return {{"bug", jsonText(row.bugID)},
            {"app", jsonText(row.appName)},
            {"title", jsonText(row.title)},
            {"outcome", outcomeName(row.outcome)},
            {"state", jsonText(row.state)},
            {"why", jsonText(row.why)},
            {"next", jsonText(row.next)},
            {"attempts", row.work.attempts},
            {"worked_seconds", row.work.worked.count()},
            {"started_at", jsonIfAny(row.work.startedAt)},
            {"ended_at", jsonIfAny(row.work.endedAt)},
            {"branch", row.branch.empty() ? json::value(nullptr) : jsonText(row.branch)},
            {"pull_request", jsonIfAny(row.pullRequest)},
            {"preserved", jsonArray(row.preserved, jsonText)}};
}

ReportRow readRow(const json::value& value) {
    const JsonFields fields(value);
    return {.bugID = fields.text("bug"),
            .appName = fields.text("app"),
            .title = fields.text("title"),
            .outcome = fields.parsed("outcome", parseOutcomeName),
            .state = fields.text("state"),
            .why = fields.text("why"),
            .next = fields.text("next"),
            .work = {.attempts = static_cast<int>(fields.integer("attempts")),
                     .worked = std::chrono::seconds(fields.integer("worked_seconds")),
                     .startedAt = fields.optionalInstant("started_at"),
                     .endedAt = fields.optionalInstant("ended_at")},
            .branch = fields.optionalText("branch").value_or(""),
            .pullRequest = fields.optionalUrl("pull_request"),
            .preserved = fields.texts("preserved")};
}

}  // namespace

json::object jsonOf(const Report& report) {
    return {{"since", formatInstant(report.since)},
            {"until", formatInstant(report.until)},
            {"dispatcher_runs", report.dispatcherRuns},
            {"pull_request_trouble", jsonText(report.pullRequestTrouble)},
            {"totals", jsonOf(report.totals)},
            {"bugs", jsonArray(report.rows, [](const ReportRow& row) { return jsonOf(row); })}};
}

Report readReport(const json::value& value) {
    const JsonFields fields(value);
    return {.since = fields.instant("since"),
            .until = fields.instant("until"),
            .dispatcherRuns = fields.flag("dispatcher_runs"),
            .pullRequestTrouble = fields.text("pull_request_trouble"),
            .totals = readTotals(fields.value("totals")),
            .rows = readEach(fields.list("bugs"), readRow)};
}

}  // namespace quernlight::host
