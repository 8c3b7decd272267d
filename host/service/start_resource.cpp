#include "host/service/start_resource.hpp"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

json::object shown(const EndedPause& pause) {
    return {{"repository",
             pause.repository.empty() ? json::value(nullptr) : json::value(validUtf8(pause.repository))},
            {"cause", validUtf8(pause.cause)},
            {"seconds", pause.left.count()}};
}

std::string timeText(std::int64_t seconds) {
    constexpr std::int64_t minute = 60;
    constexpr std::int64_t hour = 60 * minute;
    if (seconds < 2 * minute) {
        return std::to_string(seconds) + " s";
    }
    return seconds < 2 * hour ? std::to_string((seconds + minute - 1) / minute) + " min"
                              : std::to_string((seconds + hour - 1) / hour) + " h";
}

std::string textOf(const json::value* value) {
    return value && value->is_string() ? withoutControls(std::string(value->get_string())) : "";
}

std::string lineOf(const json::object& pause) {
    const std::string repository = textOf(pause.if_contains("repository"));
    const json::value* seconds = pause.if_contains("seconds");
    const std::int64_t left = seconds && seconds->is_int64() ? seconds->get_int64() : 0;
    return (repository.empty() ? "Starts are" : "Starts in " + repository + " are") +
           std::string(" tried again now: it had paused for another ") + timeText(left) +
           " because: " + textOf(pause.if_contains("cause")) + "\n";
}

}  // namespace

void StartResource::offerOn(ControlRouter& router) {
    router.add("POST", "/v1/starts/unpause", Audience::people,
               [this](const ControlRequest&) { return unpause(); });
}

Task<ControlResponse> StartResource::unpause() {
    if (!uses_.triesAgain) {
        co_return problem(422, "A run with --once tries nothing twice; start it again once it has ended.");
    }
    json::array ended;
    for (const EndedPause& pause : uses_.pauses.tryNow(uses_.clock.steadyNow())) {
        ended.push_back(shown(pause));
    }
    uses_.lookNow();
    co_await uses_.remember(uses_.clock.now());
    const json::object answer{{"ended", std::move(ended)}};
    co_return ControlResponse{.body = json::serialize(answer)};
}

std::string endedPausesText(const json::object& answer) {
    const json::value* ended = answer.if_contains("ended");
    std::string text;
    if (ended && ended->is_array()) {
        for (const json::value& pause : ended->get_array()) {
            text += pause.is_object() ? lineOf(pause.get_object()) : "";
        }
    }
    return text.empty() ? "No pause of starts was in force.\n" : text;
}

}  // namespace quernlight::host
