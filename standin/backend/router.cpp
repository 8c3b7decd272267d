#include "standin/backend/router.hpp"

#include <charconv>
#include <optional>
#include <utility>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "standin/backend/comment_reading.hpp"
#include "standin/backend/json_forms.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

namespace json = boost::json;

constexpr std::size_t defaultLimit = 50;

template <class Value>
json::object wrapped(std::string_view key, Value&& value) {
    json::object object;
    object[key] = std::forward<Value>(value);
    return object;
}

/// The variable segments when the path fits the pattern.
std::optional<std::vector<std::string>> match(const std::vector<std::string_view>& pattern,
                                              const std::vector<std::string>& path) {
    if (pattern.size() != path.size()) {
        return std::nullopt;
    }
    std::vector<std::string> variable;
    for (std::size_t index = 0; index < path.size(); ++index) {
        if (pattern[index] == "*" && !path[index].empty()) {
            variable.push_back(path[index]);
        } else if (pattern[index] != path[index]) {
            return std::nullopt;
        }
    }
    return variable;
}

struct Target {
    std::vector<std::string> path;
    std::map<std::string, std::string> query;
};

Target targetOf(const Request& request) {
    const auto parsed = boost::urls::parse_origin_form(request.target);
    if (!parsed) {
        throw HttpError(400, "The request's target is not a path.");
    }
    Target target;
    for (const auto& segment : parsed->segments()) {
        target.path.emplace_back(segment);
    }
    for (const auto& item : parsed->params()) {
        target.query[std::string(item.key)] = std::string(item.value);
    }
    return target;
}

std::size_t limitOf(const std::map<std::string, std::string>& query) {
    const auto found = query.find("limit");
    if (found == query.end()) {
        return defaultLimit;
    }
    const std::string& text = found->second;
    std::size_t limit = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), limit);
    if (error != std::errc() || end != text.data() + text.size() || limit == 0) {
        throw HttpError(400, "The limit must be a whole number above 0.");
    }
    return limit;
}

void mangle(Response& response, const FaultPlan& plan) {
    response.delay = plan.delay;
    response.cutConnection = plan.cutConnection;
    if (plan.malformedJson) {
        response.body.resize(response.body.size() / 2);
    }
}

Response faultyStatus(const FaultPlan& plan) {
    if (!plan.body) {
        return errorResponse(*plan.status, "This answer was asked for.");
    }
    return {.status = *plan.status, .headers = {{"Content-Type", "application/json"}}, .body = *plan.body};
}

}  // namespace

Router::Router(BugStore& store, Faults& faults, std::string token, std::optional<std::string> agentToken)
    : store_(store), faults_(faults), token_(std::move(token)), agentToken_(std::move(agentToken)) {}

const std::vector<Router::Route>& Router::routes() {
    static const std::vector<Route> all{
        {"GET", {"v1", "apps"}, &Router::listApps},
        {"GET", {"v1", "bugs"}, &Router::listBugs},
        {"POST", {"v1", "bugs"}, &Router::fileBug},
        {"GET", {"v1", "bugs", "*"}, &Router::showBug},
        {"PATCH", {"v1", "bugs", "*"}, &Router::changeBug},
        {"DELETE", {"v1", "bugs", "*"}, &Router::deleteBug},
        {"POST", {"v1", "bugs", "*", "status"}, &Router::changeStatus},
        {"GET", {"v1", "bugs", "*", "comments"}, &Router::listComments},
        {"POST", {"v1", "bugs", "*", "comments"}, &Router::postComment},
        {"DELETE", {"v1", "bugs", "*", "comments", "*"}, &Router::deleteComment},
        {"POST", {"standin", "faults"}, &Router::changeFaults},
    };
    return all;
}

Response Router::respond(const Request& request, Instant now) {
    const bool exempt = request.path().starts_with("/standin/");
    const FaultPlan plan = exempt ? FaultPlan() : faults_.take(request.method, request.path());
    Response response;
    try {
        response = plan.status ? faultyStatus(plan) : handle(request, now, plan.logsRequired);
    } catch (const HttpError& error) {
        response = errorResponse(error.status(), error.what(), error.headers());
    } catch (const InvalidInput& error) {
        response = errorResponse(400, error.what());
    }
    mangle(response, plan);
    return response;
}

Response Router::handle(const Request& request, Instant now, bool logsRequired) {
    const Target target = targetOf(request);
    std::string allowed;
    for (const Route& route : routes()) {
        auto parameters = match(route.segments, target.path);
        if (!parameters) {
            continue;
        }
        if (route.method == request.method) {
            if (route.handler != &Router::fileBug) {
                requireToken(request);
            }
            return (this->*route.handler)({request, std::move(*parameters), target.query, now, logsRequired});
        }
        allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
    }
    requireToken(request);
    if (allowed.empty()) {
        throw HttpError(404, "There is nothing at this path.");
    }
    throw HttpError(405, "This path does not take " + request.method + ".", {{"Allow", allowed}});
}

void Router::requireToken(const Request& request) const {
    const auto authorization = request.header("Authorization");
    const bool fromAgent = agentToken_ && authorization == "Bearer " + *agentToken_;
    if (!fromAgent && authorization != "Bearer " + token_) {
        throw HttpError(401, "The admin token is missing or wrong.", {{"WWW-Authenticate", "Bearer"}});
    }
}

const Bug& Router::bugOf(const Call& call) const {
    const Bug* bug = store_.findBug(call.parameters.at(0));
    if (!bug) {
        throw HttpError(404, "There is no bug " + call.parameters.at(0) + ".");
    }
    return *bug;
}

Response Router::listApps(const Call&) {
    json::array forms;
    for (const App& app : store_.apps()) {
        forms.push_back(appForm(store_, app));
    }
    return jsonResponse(200, wrapped("apps", std::move(forms)));
}

Response Router::listBugs(const Call& call) {
    const auto status = call.query.find("status");
    const auto wanted = status == call.query.end() ? std::nullopt : std::optional(status->second);
    json::array forms;
    for (const Bug* bug : store_.newestBugs(wanted, limitOf(call.query))) {
        forms.push_back(summaryForm(store_, *bug));
    }
    return jsonResponse(200, wrapped("bugs", std::move(forms)));
}

Response Router::fileBug(const Call& call) {
    const auto bundleID = call.request.header("x-bundle-id").value_or("");
    const auto appName = call.request.header("x-app-name").value_or("");
    if (bundleID.empty() || appName.empty()) {
        throw HttpError(400, "The headers x-bundle-id and x-app-name must name the app.");
    }
    const json::value body = jsonBody(call.request);
    const ObjectReader reader(body, "The bug");
    NewBug draft;
    draft.title = reader.text("title");
    draft.description = reader.optionalText("description").value_or("");
    draft.reporter = reader.optionalText("reporter");
    draft.metadata = reader.optionalObject("metadata").value_or(json::object());
    draft.logs = reader.optionalText("logs");
    if (call.logsRequired && draft.logs.value_or("").empty()) {
        throw HttpError(400, "Logs Required");
    }
    const App& app = store_.appFor(bundleID, appName);
    return jsonResponse(201, filedForm(app, store_.createBug(app, std::move(draft), call.now)));
}

Response Router::showBug(const Call& call) {
    return jsonResponse(200, detailForm(store_, bugOf(call)));
}

Response Router::changeBug(const Call& call) {
    bugOf(call);
    const json::value body = jsonBody(call.request);
    const ObjectReader reader(body, "The change");
    BugChange change;
    if (reader.has("status")) {
        change.status = reader.text("status");
    }
    if (reader.has("pr_url")) {
        change.prURL = reader.optionalUrl("pr_url");
    }
    if (!change.status && !change.prURL) {
        throw HttpError(400, "The change names neither a status nor a pr_url.");
    }
    return jsonResponse(200, detailForm(store_, *store_.changeBug(call.parameters[0], change, call.now)));
}

Response Router::changeStatus(const Call& call) {
    bugOf(call);
    const json::value body = jsonBody(call.request);
    const BugChange change{.status = ObjectReader(body, "The change").text("status"), .prURL = {}};
    return jsonResponse(200, detailForm(store_, *store_.changeBug(call.parameters[0], change, call.now)));
}

Response Router::deleteBug(const Call& call) {
    bugOf(call);
    store_.deleteBug(call.parameters[0]);
    return {.status = 204};
}

Response Router::listComments(const Call& call) {
    return jsonResponse(200, wrapped("comments", commentForms(bugOf(call))));
}

Response Router::postComment(const Call& call) {
    bugOf(call);
    const Comment* comment =
        store_.createComment(call.parameters[0], commentOf(call.request, call.now), call.now);
    return jsonResponse(201, wrapped("comment", commentForm(bugOf(call), *comment)));
}

Response Router::deleteComment(const Call& call) {
    bugOf(call);
    if (!store_.deleteComment(call.parameters[0], call.parameters[1])) {
        throw HttpError(404, "There is no comment " + call.parameters[1] + ".");
    }
    return {.status = 204};
}

Response Router::changeFaults(const Call& call) {
    const json::value body = jsonBody(call.request);
    const ObjectReader reader(body, "The body");
    reader.refuseOthersThan({"clear", "set"});
    std::vector<Fault> wanted;
    for (const json::value& fault : reader.array("set")) {
        wanted.push_back(faultFromJson(fault));
    }
    if (reader.flag("clear")) {
        faults_.clear();
    }
    for (Fault& fault : wanted) {
        faults_.set(std::move(fault));
    }
    return jsonResponse(200, wrapped("faults", faults_.toJson()));
}

}  // namespace quernlight::standin
