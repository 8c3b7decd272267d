#include "host/service/session_json.hpp"

#include <algorithm>

#include <boost/json/array.hpp>

#include "host/agent/agent_reading.hpp"
#include "host/screen/usage_limit.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

json::string shown(std::string_view text) {
    return json::string(withoutControls(text));
}

json::value shownIfAny(const std::optional<std::string>& text) {
    return text ? json::value(shown(*text)) : json::value(nullptr);
}

json::value shownIfAny(const std::optional<std::int32_t>& number) {
    return number ? json::value(*number) : json::value(nullptr);
}

json::object shownAgent(const LiveAgent& agent) {
    const AgentActivity activity = agentActivity(*agent.picture);
    return {{"attempt", agent.attemptNumber},
            {"pid", shownIfAny(agent.pid)},
            {"since", formatInstant(agent.since)},
            {"state", agent.pid ? nameOf(activity.state) : "exited"},
            {"rule", activity.rule},
            {"reason", shown(activity.reason)}};
}

json::array shownLines(const std::vector<std::string>& lines) {
    json::array array;
    std::transform(lines.begin(), lines.end(), std::back_inserter(array), shown);
    return array;
}

json::object shownScreen(const ScreenPicture& picture) {
    return {{"columns", picture.columns},
            {"rows", picture.rows},
            {"cursor", json::object{{"row", picture.cursorRow},
                                    {"column", picture.cursorColumn},
                                    {"shown", picture.cursorShown}}},
            {"title", shown(picture.title)},
            {"being_drawn", picture.beingDrawn},
            {"skipped_bytes", picture.skipped},
            {"lines", shownLines(picture.lines)}};
}

json::value shownDialog(const std::optional<Dialog>& dialog) {
    if (!dialog) {
        return nullptr;
    }
    json::array options;
    for (const DialogOption& option : dialog->options) {
        options.push_back(json::object{
            {"number", option.number}, {"text", shown(option.text)}, {"selected", option.isSelected}});
    }
    return json::object{
        {"kind", nameOf(dialog->kind)}, {"question", shown(dialog->question)}, {"options", options}};
}

}  // namespace

json::object shownSession(const BugProgress& progress, const std::optional<LiveAgent>& agent) {
    return {{"bug", shown(progress.bugID)},
            {"app", shown(progress.appName)},
            {"title", shown(progress.title)},
            {"stage", stageName(progress.stage)},
            {"stage_text", stageText(progress)},
            {"detail", shown(progress.detail)},
            {"agent", agent ? json::value(shownAgent(*agent)) : json::value(nullptr)}};
}

json::object shownPicture(const ScreenPicture& picture) {
    const AgentReading reading = readAgent(picture);
    return {
        {"screen", shownScreen(picture)},
        {"rules", shownLines(explainActivity(picture))},
        {"composer", reading.composer ? json::value(shown(reading.composer->text)) : json::value(nullptr)},
        {"dialog", shownDialog(reading.activity.dialog)},
        {"usage_limit", shownIfAny(usageLimitUntil(picture))},
        {"notice", shownIfAny(lastNotice(picture))}};
}

}  // namespace quernlight::host
