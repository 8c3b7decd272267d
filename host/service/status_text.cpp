#include "host/service/status_text.hpp"

#include <algorithm>
#include <map>

#include <boost/json/array.hpp>

#include "host/events/session_stage.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/observation_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::size_t nameWidth = 12;

std::string line(const std::string& name, const std::string& text, const TextRoom& room) {
    const std::string whole = fitted(name, nameWidth) + withoutControls(text);
    const bool isCut = room.columns && displayWidth(whole) > *room.columns;
    return (isCut ? fitted(whole, *room.columns) : whole) + "\n";
}

std::string ownerText(const DispatchStatus& status, Instant now, std::chrono::seconds offset) {
    const auto& owner = status.health.owner;
    return owner ? "runs since " + localTime(owner->since, now, offset) + ", process " +
                       std::to_string(owner->pid) + ", version " + owner->version
                 : "does not run; start it with: quernlight-dispatch run";
}

std::string backendText(const DispatchStatus& status, Instant now) {
    const auto& owner = status.health.owner;
    if (!owner) {
        return "";
    }
    const Condition& backend = status.health.backend;
    const std::string condition = backend.state == Condition::State::troubled ? backend.trouble : "ok";
    return owner->backend + ", " + condition +
           (owner->nextPollAt ? ", asked again " + timeAgo(*owner->nextPollAt, now) : "");
}

std::string agentsText(const DispatchStatus& status) {
    const auto& owner = status.health.owner;
    constexpr std::uint64_t gibibyte = 1024;
    if (!owner) {
        const std::size_t left = status.sessions.size();
        return "none at work (" + status.agent + ")" +
               (left == 0 ? ""
                : left == 1
                    ? "; 1 session was interrupted, and goes on at the next run"
                    : "; " + std::to_string(left) + " sessions were interrupted, and go on at the next run");
    }
    const std::string count =
        std::to_string(status.sessions.size()) + " of " + std::to_string(owner->maxSessions);
    const std::string memory =
        owner->memoryMiB ? ", " + std::to_string(*owner->memoryMiB / gibibyte) + " GiB of memory available"
                         : "";
    const std::string agent = owner->agentVersion ? status.agent + ", " + *owner->agentVersion : status.agent;
    return count + " at work (" + agent + ")" + memory;
}

/// Without a dispatcher nothing runs.
std::string_view stateText(const DispatchStatus& status, SessionStage stage) {
    const bool isCutOff = !status.health.owner && stage == SessionStage::toReconcile;
    return isCutOff ? "interrupted" : isRunning(stage) ? "running" : statusText(stage);
}

std::map<std::string, int> countsOf(const DispatchStatus& status) {
    std::map<std::string, int> counts;
    for (const QueueEntry& entry : status.queue) {
        ++counts[std::string(stateText(status, entry.stage))];
    }
    return counts;
}

std::string queueText(const DispatchStatus& status) {
    std::string text;
    for (const auto& [stage, count] : countsOf(status)) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + stage;
    }
    return text.empty() ? "empty" : text;
}

std::string sessionsText(const DispatchStatus& status, const TextRoom& room, Instant now) {
    Table table({"BUG", "APP", "STATE", "SINCE", flexible("DOES")});
    for (const RunningSession& session : status.sessions) {
        const auto style = needsAttention(session.stage) ? CellEmphasis::attention : CellEmphasis::normal;
        table.add(
            {session.bugID,
             session.appName,
             {std::string(status.health.owner ? stageText(session.stage) : stateText(status, session.stage)),
              style},
             session.since ? timeAgo(*session.since, now) : "",
             session.detail.empty() ? session.title : session.detail});
    }
    return table.empty() ? "" : "\n" + table.text(room);
}

std::string attentionText(const DispatchStatus& status, const TextRoom& room) {
    std::string text;
    for (const std::string& alert : status.health.alerts) {
        text += line("! alert", alert, {});
    }
    for (const QueueEntry& entry : status.health.needPerson) {
        const auto& error = entry.item.errorMessage;
        text += line("! " + entry.item.bugID,
                     std::string(statusText(entry.stage)) + ": " + (error ? *error : entry.item.title), room);
        text += std::string(nameWidth, ' ') + withoutControls(nextAction(entry.item, entry.stage)) + "\n";
    }
    return text.empty() ? "" : "\n" + text;
}

}  // namespace

bool needsPerson(const DispatchStatus& status) {
    return !status.health.needPerson.empty() || !status.health.alerts.empty();
}

std::string statusText(const DispatchStatus& status, const TextRoom& room, Instant now,
                       std::chrono::seconds offset) {
    const std::string backend = backendText(status, now);
    const auto listening = status.health.owner ? status.health.owner->listening : std::nullopt;
    return line("dispatcher", ownerText(status, now, offset), room) +
           (listening ? line("listens", *listening + ", to who has the token", room) : "") +
           (backend.empty() ? "" : line("backend", backend, room)) +
           line("agents", agentsText(status), room) + line("queue", queueText(status), room) +
           sessionsText(status, room, now) + attentionText(status, room);
}

json::object jsonOf(const DispatchStatus& status) {
    json::object object = jsonOf(status.health);
    object["agent"] = jsonText(status.agent);
    object["sessions"] =
        jsonArray(status.sessions, [](const RunningSession& session) { return jsonOf(session); });
    json::object counts;
    for (const QueueEntry& entry : status.queue) {
        json::value& count = counts[stageName(entry.stage)];
        count = (count.is_null() ? 0 : count.as_int64()) + 1;
    }
    object["queue"] = std::move(counts);
    return object;
}

}  // namespace quernlight::host
