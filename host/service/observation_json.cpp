#include "host/service/observation_json.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/service/json_fields.hpp"
#include "host/service/queue_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using State = Condition::State;

constexpr std::array<std::pair<State, std::string_view>, 3> states{{
    {State::unknown, "unknown"},
    {State::well, "well"},
    {State::troubled, "troubled"},
}};

std::optional<State> parseState(std::string_view name) {
    const auto* found = std::ranges::find(states, name, &std::pair<State, std::string_view>::second);
    return found == states.end() ? std::nullopt : std::optional(found->first);
}

json::object jsonOf(const Condition& condition) {
    const auto* found =
        std::ranges::find(states, condition.state, &std::pair<State, std::string_view>::first);
    return {{"state", found->second}, {"trouble", jsonText(condition.trouble)}};
}

Condition readCondition(const json::value& value) {
    const JsonFields fields(value);
    return {.state = fields.parsed("state", parseState), .trouble = fields.text("trouble")};
}

json::object jsonOf(const SeenAgent& agent) {
    return {{"attempt", agent.attemptNumber},      {"pid", jsonIfAny(agent.pid)},
            {"since", formatInstant(agent.since)}, {"state", jsonText(agent.state)},
            {"rule", jsonText(agent.rule)},        {"reason", jsonText(agent.reason)}};
}

std::optional<std::int32_t> readSmall(const JsonFields& fields, std::string_view name) {
    const auto number = fields.optionalInteger(name);
    return number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

std::optional<SeenAgent> readAgent(const json::value& value) {
    if (value.is_null()) {
        return std::nullopt;
    }
    const JsonFields fields(value);
    return SeenAgent{.attemptNumber = fields.integer("attempt"),
                     .pid = readSmall(fields, "pid"),
                     .since = fields.instant("since"),
                     .state = fields.text("state"),
                     .rule = fields.text("rule"),
                     .reason = fields.text("reason")};
}

json::object jsonOf(const OwnerReport& owner) {
    return {{"pid", owner.pid},
            {"version", owner.version},
            {"since", formatInstant(owner.since)},
            {"backend", jsonText(owner.backend)},
            {"sessions", owner.sessions},
            {"max_sessions", owner.maxSessions},
            {"memory_mib", owner.memoryMiB ? json::value(static_cast<std::int64_t>(*owner.memoryMiB))
                                           : json::value(nullptr)},
            {"next_poll_at", jsonIfAny(owner.nextPollAt)},
            {"agent_version", jsonIfAny(owner.agentVersion)},
            {"listening", jsonIfAny(owner.listening)}};
}

std::optional<OwnerReport> readOwner(const json::value& value) {
    if (value.is_null()) {
        return std::nullopt;
    }
    const JsonFields fields(value);
    OwnerReport owner{.pid = fields.integer("pid"),
                      .version = fields.text("version"),
                      .since = fields.instant("since"),
                      .backend = fields.text("backend"),
                      .sessions = static_cast<int>(fields.integer("sessions")),
                      .maxSessions = static_cast<int>(fields.integer("max_sessions")),
                      .nextPollAt = fields.optionalInstant("next_poll_at"),
                      .agentVersion = fields.optionalText("agent_version"),
                      .listening = fields.optionalText("listening")};
    if (const auto memory = fields.optionalInteger("memory_mib")) {
        owner.memoryMiB = static_cast<std::uint64_t>(std::max<std::int64_t>(*memory, 0));
    }
    return owner;
}

}  // namespace

json::object jsonOf(const RunningSession& session) {
    return {{"bug", jsonText(session.bugID)},
            {"app", jsonText(session.appName)},
            {"title", jsonText(session.title)},
            {"status", rawValue(session.status)},
            {"stage", stageName(session.stage)},
            {"stage_text", stageText(BugProgress{.stage = session.stage, .exitCode = session.exitCode})},
            {"detail", jsonText(session.detail)},
            {"exit_code", jsonIfAny(session.exitCode)},
            {"attempt", session.attemptNumber},
            {"since", jsonIfAny(session.since)},
            {"last_output_at", jsonIfAny(session.lastOutputAt)},
            {"last_line", jsonText(session.lastLine)},
            {"transcript", jsonText(session.transcriptText.native())},
            {"transcript_ansi", jsonText(session.transcriptANSI.native())},
            {"worktree", jsonText(session.workspace.native())},
            {"agent", session.agent ? json::value(jsonOf(*session.agent)) : json::value(nullptr)}};
}

RunningSession readRunningSession(const json::value& value) {
    const JsonFields fields(value);
    return {.bugID = fields.text("bug"),
            .appName = fields.text("app"),
            .title = fields.text("title"),
            .status = fields.parsed("status", queueItemStatusFromRawValue),
            .stage = fields.parsed("stage", parseStageName),
            .detail = fields.text("detail"),
            .exitCode = readSmall(fields, "exit_code"),
            .agent = readAgent(fields.value("agent")),
            .since = fields.optionalInstant("since"),
            .lastOutputAt = fields.optionalInstant("last_output_at"),
            .attemptNumber = fields.integer("attempt"),
            .transcriptText = fields.text("transcript"),
            .transcriptANSI = fields.text("transcript_ansi"),
            .workspace = fields.text("worktree"),
            .lastLine = fields.text("last_line")};
}

json::object jsonOf(const ReviewItem& review) {
    json::object object = jsonOf(QueueEntry{.item = review.item, .stage = stageOf(review.item)});
    object["pull_request"] = jsonIfAny(review.pullRequest);
    object["branch"] = jsonText(review.branch);
    object["worktree"] = jsonIfAny(review.worktree);
    object["repository"] = jsonIfAny(review.repository);
    return object;
}

ReviewItem readReviewItem(const json::value& value) {
    const JsonFields fields(value);
    return {.item = readQueueEntry(value).item,
            .pullRequest = fields.optionalUrl("pull_request"),
            .branch = fields.text("branch"),
            .worktree = fields.optionalText("worktree"),
            .repository = fields.optionalText("repository")};
}

json::object jsonOf(const HealthReport& report) {
    return {
        {"owner", report.owner ? json::value(jsonOf(*report.owner)) : json::value(nullptr)},
        {"backend", jsonOf(report.backend)},
        {"disk", jsonOf(report.disk)},
        {"alerts", jsonArray(report.alerts, jsonText)},
        {"need_person", jsonArray(report.needPerson, [](const QueueEntry& entry) { return jsonOf(entry); })}};
}

HealthReport readHealthReport(const json::value& value) {
    const JsonFields fields(value);
    return {.owner = readOwner(fields.value("owner")),
            .backend = readCondition(fields.value("backend")),
            .disk = readCondition(fields.value("disk")),
            .alerts = fields.texts("alerts"),
            .needPerson = readEach(fields.list("need_person"), readQueueEntry)};
}

}  // namespace quernlight::host
