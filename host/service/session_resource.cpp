#include "host/service/session_resource.hpp"

#include <utility>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/service/session_json.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

std::string noAgent(const BugProgress& progress) {
    return "No agent works on bug " + withoutControls(progress.bugID) +
           " now; it is: " + stageText(progress) + ".";
}

/// A bug that is done with is not followed any more.
std::string notFollowed(const std::string& bugID) {
    return "No agent works on bug " + withoutControls(bugID) +
           " now; see: quernlight-dispatch queue list --all";
}

}  // namespace

void SessionResource::offerOn(ControlRouter& router) {
    router.add("GET", "/v1/sessions/*/screen", Audience::people,
               [this](const ControlRequest& request) { return screen(request.parameters.at(0)); });
}

Task<ControlResponse> SessionResource::screen(std::string bugID) const {
    const std::string shortID = BugID::normalized(bugID);
    const auto progress = events_.bugs().find(shortID);
    if (progress == events_.bugs().end()) {
        co_return problem(404, notFollowed(shortID));
    }
    const auto agent = screens_.look(shortID);
    if (!agent) {
        co_return problem(404, noAgent(progress->second));
    }
    json::object shown = shownSession(progress->second, agent);
    for (auto& [name, value] : shownPicture(*agent->picture)) {
        shown[name] = std::move(value);
    }
    co_return ControlResponse{.body = json::serialize(shown)};
}

}  // namespace quernlight::host
