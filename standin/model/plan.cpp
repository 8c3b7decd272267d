#include "standin/model/plan.hpp"

#include <utility>

#include <boost/algorithm/string/replace.hpp>

#include "standin/backend/json_text.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin::model {
namespace {

namespace json = boost::json;

constexpr std::int64_t longest = 24 * 3600;
constexpr std::int64_t latest = 4'000'000'000;  // in seconds since 1970

/// Works in the worktree whoever the agent's git believes to be, and reports as a dispatcher's goal asks.
constexpr std::string_view usualSteps = R"([
  {"do": "tool", "tool": "update_bug_status", "arguments": {"bug_id": "{bug_id}", "status": "investigate"}},
  {"do": "shell", "command": "echo 'fixed: {bug_id}' >> FIXED && git add FIXED && git -c user.name=Agent -c user.email=agent@example.com commit --quiet --message 'Fix {bug_id}' && git log --oneline -1"},
  {"do": "tool", "tool": "create_comment", "arguments": {
    "bug_id": "{bug_id}", "body": "The cause was a missing check; it is there now.", "status": "in_review",
    "metadata": {"queue_item_id": "{queue_item_id}", "session_id": "{session_id}", "status": "in_review"}}},
  {"do": "complete"},
  {"do": "say", "text": "Bug {bug_id} is fixed and in review."}])";

std::chrono::seconds secondsOf(const ObjectReader& reader) {
    return std::chrono::seconds(reader.optionalInteger("seconds", 0, longest).value_or(0));
}

void readRefusal(Step& step, const ObjectReader& reader) {
    step.status = static_cast<unsigned>(reader.optionalInteger("status", 400, 599).value_or(500));
    step.resetsInSeconds = reader.optionalInteger("resets_in_seconds", 1, longest).value_or(0);
    if (const auto until = reader.optionalInteger("until", 1, latest)) {
        step.until = Instant(std::chrono::seconds(*until));
    }
    if (const auto limit = reader.optionalText("limit")) {
        if (*limit != "usage") {
            throw InvalidInput(R"(A refusal's "limit" must be usage.)");
        }
        step.isUsageLimit = true;
    }
    step.retryAfter = reader.optionalInteger("retry_after", 1, longest).value_or(0);
    step.text = reader.optionalText("text").value_or("");
}

Step stepFrom(const json::value& value) {
    const ObjectReader reader(value, "A step");
    reader.refuseOthersThan({"do", "command", "tool", "arguments", "text", "seconds", "status",
                             "resets_in_seconds", "until", "limit", "retry_after", "times"});
    const std::string kind = reader.text("do");
    Step step{.times = reader.optionalInteger("times", 1, longest).value_or(1)};
    if (kind == "shell") {
        step.kind = Step::Kind::shell;
        step.text = reader.text("command");
    } else if (kind == "tool") {
        step.kind = Step::Kind::tool;
        step.text = reader.text("tool");
        step.arguments = reader.optionalObject("arguments").value_or(json::object());
    } else if (kind == "say") {
        step.text = reader.text("text");
    } else if (kind == "complete") {
        step.kind = Step::Kind::complete;
    } else if (kind == "wait") {
        step.kind = Step::Kind::wait;
        step.length = secondsOf(reader);
    } else if (kind == "refuse") {
        step.kind = Step::Kind::refuse;
        readRefusal(step, reader);
    } else {
        throw InvalidInput(R"(A step's "do" must be shell, tool, say, complete, wait or refuse.)");
    }
    return step;
}

std::vector<Step> stepsFrom(const json::value& value) {
    if (!value.is_array()) {
        throw InvalidInput("The steps of a plan must be a list.");
    }
    std::vector<Step> steps;
    for (const json::value& step : value.get_array()) {
        steps.push_back(stepFrom(step));
    }
    return steps;
}

}  // namespace

Plan::Plan() : usual_(stepsFrom(parseJson(usualSteps, "The usual plan"))) {}

Plan Plan::fromJson(std::string_view text) {
    const json::value value = parseJson(text, "The plan");
    const ObjectReader reader(value, "The plan");
    reader.refuseOthersThan({"default", "bugs"});
    Plan plan;
    if (reader.has("default")) {
        plan.usual_ = stepsFrom(value.at("default"));
    }
    for (const auto& [bug, steps] : reader.optionalObject("bugs").value_or(json::object())) {
        plan.ofBugs_[bug] = stepsFrom(steps);
    }
    return plan;
}

const std::vector<Step>& Plan::stepsFor(const std::string& bugID) const {
    const auto found = ofBugs_.find(bugID);
    return found == ofBugs_.end() ? usual_ : found->second;
}

std::string filledIn(std::string text, const codex::Goal& goal) {
    const std::pair<std::string_view, const std::string&> words[] = {{"{bug_id}", goal.bugID},
                                                                     {"{session_id}", goal.sessionID},
                                                                     {"{queue_item_id}", goal.queueItemID},
                                                                     {"{branch}", goal.branch},
                                                                     {"{worktree}", goal.worktreePath}};
    for (const auto& [name, word] : words) {
        boost::replace_all(text, name, word);
    }
    return text;
}

json::value filledIn(const json::value& value, const codex::Goal& goal) {
    if (value.is_string()) {
        return json::value(filledIn(std::string(value.get_string()), goal));
    }
    json::value filled = value;
    if (json::object* object = filled.if_object()) {
        for (auto& member : *object) {
            member.value() = filledIn(member.value(), goal);
        }
    } else if (json::array* array = filled.if_array()) {
        for (json::value& element : *array) {
            element = filledIn(element, goal);
        }
    }
    return filled;
}

}  // namespace quernlight::standin::model
