#include "host/service/service_resource.hpp"

#include <algorithm>
#include <utility>

#include "host/service/bug_operations_json.hpp"
#include "host/service/configuration_json.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/list_page.hpp"
#include "host/service/observation_json.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/service_answer.hpp"
#include "host/tools/bug_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

Task<ControlResponse> answerDone(Task<void> work) {
    try {
        co_await std::move(work);
        co_return ControlResponse{.body = "{}"};
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

/// "newest", how many of each status are asked for, and each "status", of the query.
BugQuery bugQueryOf(const ControlRequest& request) {
    constexpr std::uint64_t most = 10000;
    BugQuery query;
    const auto newest = queryNumber(request, "newest").value_or(static_cast<std::uint64_t>(query.limit));
    query.limit = static_cast<int>(std::clamp<std::uint64_t>(newest, 1, most));
    std::vector<std::string> statuses = queryTexts(request, "status");
    if (!statuses.empty()) {
        query.statuses = std::move(statuses);
    }
    return query;
}

json::object bugsShown(const std::vector<QLBugSummaryDTO>& bugs, ListPage page) {
    const auto begin = bugs.begin() + static_cast<std::ptrdiff_t>(std::min(page.offset, bugs.size()));
    const auto left = static_cast<std::size_t>(bugs.end() - begin);
    const std::vector<QLBugSummaryDTO> part(begin,
                                            begin + static_cast<std::ptrdiff_t>(std::min(page.limit, left)));
    json::object shown = paged(bugs, page, [](const QLBugSummaryDTO&) { return json::value(nullptr); });
    shown["items"] = shownBugs(part).at("bugs");
    return shown;
}

json::object queueShown(const QueueList& queue, ListPage page) {
    json::object shown =
        paged(queue.entries, page, [](const QueueEntry& entry) { return json::value(jsonOf(entry)); });
    shown["unreadable"] =
        jsonArray(queue.unreadable, [](const UnreadableBug& bug) { return json::value(jsonOf(bug)); });
    return shown;
}

json::object settingsShown(const SettingList& settings, ListPage page) {
    json::object shown =
        paged(settings.values, page, [](const SettingValue& value) { return json::value(jsonOf(value)); });
    shown["troubles"] = jsonArray(settings.troubles, jsonText);
    return shown;
}

template <class Value>
Task<ControlResponse> answerPage(Task<std::vector<Value>> work, ListPage page) {
    return answer(std::move(work), [page](const std::vector<Value>& values) {
        return paged(values, page, [](const Value& value) { return json::value(jsonOf(value)); });
    });
}

}  // namespace

void ServiceResource::offerOn(ControlRouter& router) {
    offerQueue(router);
    offerConfiguration(router);
    offerBugs(router);
    offerObservation(router);
}

void ServiceResource::offerQueue(ControlRouter& router) {
    router.add("GET", "/v1/queue", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.queue(),
                      [page = pageOf(request)](const QueueList& queue) { return queueShown(queue, page); });
    });
    router.add("GET", "/v1/queue/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.queueItem(request.parameters.at(0)));
    });
    for (const QueueAction action : allQueueActions) {
        router.add(
            "POST", "/v1/queue/*/" + std::string(nameOf(action)), Audience::people,
            [this, action](const ControlRequest& request) {
                return withBody(request, [&](const json::value& body) {
                    return answer(service_.change(readQueueChange(action, request.parameters.at(0), body)));
                });
            });
    }
}

void ServiceResource::offerConfiguration(ControlRouter& router) {
    router.add("GET", "/v1/mappings", Audience::people, [this](const ControlRequest& request) {
        return answerPage(service_.mappings(), pageOf(request));
    });
    router.add("PUT", "/v1/mappings/*", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            return answer(service_.setMapping(readMappingRequest(request.parameters.at(0), body)));
        });
    });
    router.add("DELETE", "/v1/mappings/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.removeMapping(request.parameters.at(0)));
    });
    router.add("GET", "/v1/mapping-checks", Audience::people, [this](const ControlRequest& request) {
        return answerPage(service_.checkMappings(), pageOf(request));
    });
    router.add("GET", "/v1/settings", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.settings(), [page = pageOf(request)](const auto& settings) {
            return settingsShown(settings, page);
        });
    });
    router.add("PATCH", "/v1/settings", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            return answer(service_.changeSettings(readSettingChanges(body)));
        });
    });
    router.add("GET", "/v1/settings/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.setting(request.parameters.at(0)));
    });
    router.add("PUT", "/v1/settings/*", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            return answer(service_.setSetting(request.parameters.at(0), JsonFields(body).text("text")));
        });
    });
    router.add("DELETE", "/v1/settings/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.unsetSetting(request.parameters.at(0)));
    });
}

void ServiceResource::offerBugs(ControlRouter& router) {
    router.add("GET", "/v1/bugs", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.bugs(bugQueryOf(request)),
                      [page = pageOf(request)](const auto& bugs) { return bugsShown(bugs, page); });
    });
    router.add("POST", "/v1/bugs", Audience::people, [this](const ControlRequest& request) {
        return withBody(request,
                        [&](const json::value& body) { return answer(service_.fileBug(readNewBug(body))); });
    });
    router.add("GET", "/v1/bugs/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.bugDetail(request.parameters.at(0)), shownBug);
    });
    router.add("DELETE", "/v1/bugs/*", Audience::people, [this](const ControlRequest& request) {
        return answerDone(service_.deleteBug(request.parameters.at(0)));
    });
    router.add("POST", "/v1/bugs/*/comments", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            return answer(service_.comment(readBugComment(request.parameters.at(0), body)), shownComment);
        });
    });
    router.add("PUT", "/v1/bugs/*/status", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            return answerDone(
                service_.setBugStatus(request.parameters.at(0), JsonFields(body).text("status")));
        });
    });
    router.add("PUT", "/v1/bugs/*/pull-request", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            const JsonFields fields(body);
            fields.require("pull_request");
            return answerDone(
                service_.setPullRequest(request.parameters.at(0), fields.optionalUrl("pull_request")));
        });
    });
    router.add("POST", "/v1/queue", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const json::value& body) {
            const JsonFields fields(body);
            return answer(
                service_.enqueue(fields.text("bug"), fields.parsed("queue", queueModeFromRawValue)));
        });
    });
}

void ServiceResource::offerObservation(ControlRouter& router) {
    router.add("GET", "/v1/sessions", Audience::people, [this](const ControlRequest& request) {
        return answerPage(service_.sessions(), pageOf(request));
    });
    router.add("POST", "/v1/sessions/*/stop", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.stopSession(request.parameters.at(0)));
    });
    router.add("GET", "/v1/bugs/*/state", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.bug(request.parameters.at(0)));
    });
    router.add("GET", "/v1/review", Audience::people, [this](const ControlRequest& request) {
        return answerPage(service_.review(), pageOf(request));
    });
    router.add("GET", "/v1/health", Audience::people,
               [this](const ControlRequest&) { return answer(service_.health()); });
}

}  // namespace quernlight::host
