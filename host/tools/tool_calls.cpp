#include "host/tools/tool_calls.hpp"

#include <utility>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "host/text/failure_sentence.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

ToolResult refused(std::string sentence) {
    return {ToolOutcome::refused, std::move(sentence)};
}

unsigned statusOf(ToolOutcome outcome) {
    switch (outcome) {
        case ToolOutcome::done:
            return 200;
        case ToolOutcome::badArguments:
            return 422;
        case ToolOutcome::refused:
            return 403;
        case ToolOutcome::tooOften:
            return 429;
        case ToolOutcome::failed:
            return 502;
        case ToolOutcome::unknown:
            return 504;
    }
    return 500;
}

/// Whether a refusal is to be told now: the same one once a minute, and not for ever.
bool isNews(ToolSession& session, const std::string& sentence, Clock::TimePoint now) {
    constexpr std::chrono::minutes pause{1};
    constexpr std::size_t mostKinds = 100;
    const auto told = session.refusals.find(sentence);
    if (told == session.refusals.end() && session.refusals.size() >= mostKinds) {
        return false;
    }
    const bool isTold = told != session.refusals.end() && now - told->second < pause;
    if (!isTold) {
        session.refusals[sentence] = now;
    }
    return !isTold;
}

}  // namespace

void ToolCalls::offerOn(ControlRouter& router) {
    router.add("POST", "/v1/sessions/*/tools/*", Audience::anybody,
               [this](ControlRequest request) { return respond(std::move(request)); });
    router.whenRefused([this](ControlRequest request) { return tellIntrusion(std::move(request)); });
    router.knowsSecretsBy([this](const std::string& secret) { return uses_.access.knows(secret); });
}

Task<ControlResponse> ToolCalls::respond(ControlRequest request) {
    if (request.caller.session && request.caller.session != parseUuid(request.parameters.at(0))) {
        co_await tellIntrusion(std::move(request));
        co_return problem(403, "These tools are another session's; an agent may call those of its own only.");
    }
    boost::system::error_code error;
    const json::value arguments = request.body.empty() ? json::object() : json::parse(request.body, error);
    if (error || !arguments.is_object()) {
        co_return problem(400, "The arguments are not a JSON object.");
    }
    Call call{.sessionID = request.parameters.at(0),
              .secret = std::move(request.secret),
              .tool = request.parameters.at(1),
              .arguments = arguments.get_object()};
    ToolResult result = co_await make(std::move(call));
    const unsigned status = statusOf(result.outcome);
    if (result.outcome != ToolOutcome::done) {
        co_return problem(status, result.text);
    }
    co_return ControlResponse{.status = status, .body = std::move(result.text)};
}

Task<ToolResult> ToolCalls::make(Call call) {
    const auto id = parseUuid(call.sessionID);
    const BugTools::Session session = id ? uses_.access.session(*id) : nullptr;
    const std::string tool = call.tool;
    ToolResult result = accessTrouble(session, call.secret);
    if (result.outcome == ToolOutcome::done) {
        result = co_await tools_.call(session, std::move(call.tool), std::move(call.arguments));
    }
    if (session && (result.outcome == ToolOutcome::refused || result.outcome == ToolOutcome::tooOften)) {
        co_await tellRefusal(session, tool, result);
    }
    co_return result;
}

/// Why the session may make no call now; done when it may.
ToolResult ToolCalls::accessTrouble(const BugTools::Session& session, const std::string& secret) {
    const auto now = uses_.clock.steadyNow();
    if (!session || !session->isLive) {
        return refused("This session has ended; nothing more is taken from it.");
    }
    if (!ToolAccess::opens(*session, secret)) {
        return wrongSecrets_.takeNow(now)
                   ? refused("The secret is not that of this session; the tools are for its own agent only.")
                   : ToolResult{ToolOutcome::tooOften, "Wrong secrets come too often; wait a second."};
    }
    return session->rate.takeNow(now)
               ? ToolResult{}
               : ToolResult{ToolOutcome::tooOften,
                            "The tools are called too often: ten times a second is the most. Wait a second, "
                            "then call again; nothing was done."};
}

Task<void> ToolCalls::tellRefusal(BugTools::Session session, std::string tool, ToolResult result) {
    constexpr std::size_t mostOfAName = 60;
    const std::string name = escapedLine(tool, mostOfAName);
    if (!isNews(*session, name + " " + result.text, uses_.clock.steadyNow())) {
        co_return;
    }
    co_await record(session, "The agent's call of " + name + " was refused: " + result.text, name);
}

/// Of a process whose session is not known any more, or was never told, there is no history.
Task<void> ToolCalls::tellIntrusion(ControlRequest request) {
    constexpr std::size_t mostOfARequest = 200;
    const std::string asked = escapedLine(request.method + " " + request.target, mostOfARequest);
    const auto session = request.caller.session ? uses_.access.session(*request.caller.session) : nullptr;
    if (!session) {
        uses_.events.noticeOnce(
            "A process that an agent has started asked the dispatcher for what is not for agents, and was "
            "refused.");
    } else if (!std::exchange(session->isIntrusionTold, true)) {
        co_await record(session,
                        "A process of the agent asked the dispatcher for what is not its session's (" +
                            asked + "), and was refused.",
                        "");
    }
}

Task<void> ToolCalls::record(BugTools::Session session, std::string message, std::string tool) {
    try {
        ItemEvent event{.itemID = session->grant.item.id,
                        .kind = EventKind::toolRefused,
                        .message = std::move(message),
                        .sessionID = session->grant.sessionID};
        if (!tool.empty()) {
            event.metadataJSON = json::serialize(json::object{{"tool", tool}});
        }
        co_await appendEvent(uses_.items, std::move(event));
    } catch (const std::exception& error) {
        uses_.events.notice("A refused call of bug " + session->grant.item.bugID +
                            " could not be recorded: " + failureSentence(error));
    }
}

}  // namespace quernlight::host
