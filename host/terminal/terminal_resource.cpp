#include "host/terminal/terminal_resource.hpp"

#include <utility>

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>

#include "host/agent/agent_terminal.hpp"
#include "host/terminal/attached_client.hpp"
#include "host/terminal/typed_text.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::chrono::seconds longestEnd{5};  // until the session tells how it has ended
constexpr std::chrono::milliseconds endInterval{50};
constexpr std::chrono::seconds longestFarewell{2};
constexpr std::chrono::milliseconds farewellInterval{20};
/// An agent takes keys that come together for pasted text, in which Enter is a line end.
constexpr std::chrono::milliseconds pauseBeforeEnter{350};

std::optional<TypedText> typedTextIn(const std::string& body) {
    boost::system::error_code error;
    const json::value value = json::parse(body, error);
    const json::object* object = error ? nullptr : value.if_object();
    const json::value* text = object ? object->if_contains("text") : nullptr;
    if (!text || !text->is_string()) {
        return std::nullopt;
    }
    const auto flag = [&](std::string_view name) {
        const json::value* given = object->if_contains(name);
        return given && given->is_bool() && given->get_bool();
    };
    return TypedText{
        .text = std::string(text->get_string()), .isRaw = flag("raw"), .pressesEnter = flag("enter")};
}

}  // namespace

void TerminalResource::offerOn(ControlRouter& router) {
    router.add("GET", "/v1/sessions/*/terminal", Audience::people,
               [this](const ControlRequest& request) { return attach(request.parameters.at(0)); });
    router.add("POST", "/v1/sessions/*/input", Audience::people,
               [this](ControlRequest request) { return type(std::move(request)); });
}

std::string TerminalResource::noAgent(const std::string& bugID) const {
    const auto progress = events_.bugs().find(bugID);
    if (progress == events_.bugs().end()) {
        return "No agent works on bug " + withoutControls(bugID) +
               " now; see: quernlight-dispatch queue list --all";
    }
    return "No agent works on bug " + withoutControls(bugID) + " now; it is: " + stageText(progress->second) +
           ".";
}

Task<ControlResponse> TerminalResource::attach(std::string bugID) {
    const std::string shortID = BugID::normalized(bugID);
    const auto agent = screens_.look(shortID);
    if (!agent || !agent->terminal || agent->terminal->hasEnded()) {
        co_return problem(404, noAgent(shortID));
    }
    ControlResponse response;
    response.takeOver = [this, shortID, agent](ControlChannel& channel) {
        return serve(channel, shortID, *agent);
    };
    co_return response;
}

Task<void> TerminalResource::serve(ControlChannel& channel, std::string bugID, LiveAgent agent) {
    ++attached_;
    const std::shared_ptr<void> atEnd(nullptr, [this](void*) { --attached_; });
    auto endsSo = [this, bugID, terminal = agent.terminal] { return endSentence(bugID, terminal); };
    AttachedClient::Session session{.bug = bugID,
                                    .attempt = agent.attemptNumber,
                                    .terminal = agent.terminal,
                                    .endSentence = std::move(endsSo)};
    AttachedClient client(std::move(session), channel, clock_);
    co_await client.run();
}

Task<void> TerminalResource::end() {
    const auto deadline = clock_.steadyNow() + longestFarewell;
    while (attached_ > 0 && clock_.steadyNow() < deadline) {
        co_await clock_.sleepFor(farewellInterval);
    }
}

/// The session goes on for a moment after its agent, to find out what it came to.
Task<std::string> TerminalResource::endSentence(std::string bugID, std::shared_ptr<AgentTerminal> terminal) {
    const auto deadline = clock_.steadyNow() + longestEnd;
    const auto runs = [&] {
        const auto progress = events_.bugs().find(bugID);
        return progress != events_.bugs().end() && isRunning(progress->second.stage);
    };
    while (runs() && clock_.steadyNow() < deadline) {
        co_await clock_.sleepFor(endInterval);
    }
    std::string sentence = "The agent of bug " + withoutControls(bugID) + " has ended";
    if (terminal->exitCode()) {
        sentence += " with status " + std::to_string(*terminal->exitCode());
    }
    const auto progress = events_.bugs().find(bugID);
    co_return progress == events_.bugs().end()
        ? sentence + "."
        : sentence + "; the bug is: " + stageText(progress->second) + ".";
}

Task<ControlResponse> TerminalResource::type(ControlRequest request) {
    const std::string shortID = BugID::normalized(request.parameters.at(0));
    const auto agent = screens_.look(shortID);
    if (!agent || !agent->terminal || agent->terminal->hasEnded()) {
        co_return problem(404, noAgent(shortID));
    }
    const auto typed = typedTextIn(request.body);
    if (!typed) {
        co_return problem(422, "The request must be an object with \"text\".");
    }
    const std::shared_ptr<AgentTerminal> terminal = agent->terminal;
    std::string keys = keysOf(*typed, terminal->takesPastes());
    bool isTyped = true;
    if (!keys.empty()) {
        isTyped = co_await terminal->type(std::move(keys));
        co_await clock_.sleepFor(typed->pressesEnter ? pauseBeforeEnter : std::chrono::milliseconds(0));
    }
    if (isTyped && typed->pressesEnter) {
        std::string enter = "\r";
        isTyped = co_await terminal->type(std::move(enter));
    }
    co_return isTyped ? ControlResponse{.body = "{}"}
                      : problem(404, "The agent of bug " + withoutControls(shortID) + " ended meanwhile.");
}

}  // namespace quernlight::host
