#include "standin/model/player.hpp"

#include <algorithm>
#include <charconv>
#include <optional>

#include "standin/model/event_stream.hpp"

namespace quernlight::standin::model {
namespace {

using Kind = Step::Kind;

/// An agent whose goal stays active asks again at once; this keeps it from spinning.
constexpr std::chrono::milliseconds restingDelay{2000};

/// Begins the ids of all calls for the goal in force, so that a new goal starts the plan anew.
std::string callPrefix(const Conversation& conversation) {
    return "step-" + conversation.sessionID() + "-";
}

/// The step that a call was made for; nothing for a call that was not made for this goal.
std::optional<std::size_t> stepOf(std::string_view callID, const std::string& prefix) {
    if (!callID.starts_with(prefix)) {
        return std::nullopt;
    }
    callID.remove_prefix(prefix.size());
    std::size_t index = 0;
    std::from_chars(callID.data(), callID.data() + callID.size(), index);
    return index;
}

std::size_t stepsBehind(const Conversation& conversation) {
    const std::string prefix = callPrefix(conversation);
    std::size_t behind = 0;
    for (const CallOutput& output : conversation.outputs) {
        if (const auto step = stepOf(output.callID, prefix)) {
            behind = std::max(behind, *step + 1);
        }
    }
    return behind;
}

std::optional<OfferedTool> shellTool(const Conversation& conversation) {
    for (const std::string_view name : {"exec_command", "shell_command", "shell"}) {
        if (auto tool = conversation.toolNamed(name)) {
            return tool;
        }
    }
    return std::nullopt;
}

/// What was said counts for one goal, what was waited and refused for the bug.
std::string scopeOf(const Step& step, const Conversation& conversation) {
    return step.kind == Kind::say ? callPrefix(conversation) : conversation.bugID();
}

bool leavesATrace(Kind kind) {
    return kind == Kind::shell || kind == Kind::tool || kind == Kind::complete;
}

}  // namespace

Turn Player::answer(const Plan& plan, const Conversation& conversation, Instant now) {
    if (!conversation.goal) {
        return rest(conversation, "There is no goal that I know how to reach.");
    }
    const std::vector<Step>& steps = plan.stepsFor(conversation.bugID());
    std::chrono::seconds wait{0};
    for (std::size_t index = stepsBehind(conversation); index < steps.size(); ++index) {
        const Step& step = steps[index];
        if (step.until && now >= *step.until) {
            continue;
        }
        if (!leavesATrace(step.kind) && !step.until) {
            std::int64_t& times = done_[{scopeOf(step, conversation), index}];
            if (times >= step.times) {
                continue;
            }
            ++times;
        }
        if (step.kind == Kind::wait) {
            wait += step.length;
        } else if (step.kind != Kind::complete || conversation.toolNamed("update_goal")) {
            Turn turn = play(step, conversation, index, now);
            turn.wait = wait;
            turn.response.delay += wait;
            return turn;
        }
    }
    Turn turn = rest(conversation, "There is nothing left to do.");
    turn.wait = wait;
    turn.response.delay += wait;
    return turn;
}

Turn Player::play(const Step& step, const Conversation& conversation, std::size_t index, Instant now) {
    if (step.kind == Kind::refuse) {
        return {.response = refusal(step, now), .step = "refuse " + std::to_string(step.status)};
    }
    if (step.kind == Kind::say) {
        return say(filledIn(step.text, *conversation.goal), "say");
    }
    const std::string name = step.kind == Kind::complete ? "update_goal" : step.text;
    const auto tool = step.kind == Kind::shell ? shellTool(conversation) : conversation.toolNamed(name);
    if (!tool) {
        return rest(conversation, "No tool is offered for this: " + name);
    }
    boost::json::value arguments =
        step.kind == Kind::complete ? boost::json::object{{"status", "complete"}} : step.arguments;
    if (step.kind == Kind::shell) {
        arguments = shellArguments(tool->name, step.text);
    }
    return call(conversation, *tool, filledIn(arguments, *conversation.goal).as_object(), index);
}

Turn Player::call(const Conversation& conversation, const OfferedTool& tool,
                  const boost::json::object& arguments, std::size_t index) {
    const std::string id =
        callPrefix(conversation) + std::to_string(index) + "-" + std::to_string(++answers_);
    return {.response = eventStream(callItem(tool, arguments, id), "answer-" + id),
            .step = "call " + tool.name};
}

Turn Player::say(const std::string& text, std::string step) {
    const std::string id = "message-" + std::to_string(++answers_);
    return {.response = eventStream(messageItem(text, id), "answer-" + id), .step = std::move(step)};
}

Turn Player::rest(const Conversation& conversation, const std::string& text) {
    Turn turn = say(text, "rest: " + text);
    if (rests_[conversation.thread]++ > 0) {
        turn.response.delay = restingDelay;
    }
    return turn;
}

}  // namespace quernlight::standin::model
