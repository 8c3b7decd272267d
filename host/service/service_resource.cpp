#include "host/service/service_resource.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "host/service/bug_operations_json.hpp"
#include "host/service/configuration_json.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/observation_json.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/service_error.hpp"
#include "host/tools/bug_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

unsigned statusOf(ServiceErrorCode code) {
    switch (code) {
        case ServiceErrorCode::notFound:
            return 404;
        case ServiceErrorCode::ambiguous:
        case ServiceErrorCode::refused:
            return 409;
        case ServiceErrorCode::needsConfirmation:
            return 428;
        case ServiceErrorCode::invalid:
            return 422;
        case ServiceErrorCode::backendFailed:
            return 502;
        case ServiceErrorCode::busy:
        case ServiceErrorCode::unavailable:
            break;
    }
    return 503;
}

ControlResponse problemOf(const ServiceError& error) {
    return problem(statusOf(error.code()), error.what(), std::string(nameOf(error.code())));
}

/// The work's result, or its error, as a response.
template <class Result, class Shown>
Task<ControlResponse> answer(Task<Result> work, Shown shown) {
    try {
        const Result result = co_await std::move(work);
        const json::value value = shown(result);
        co_return ControlResponse{.body = json::serialize(value)};
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

template <class Result>
Task<ControlResponse> answer(Task<Result> work) {
    return answer(std::move(work), [](const Result& result) { return json::value(jsonOf(result)); });
}

Task<ControlResponse> answerDone(Task<void> work) {
    try {
        co_await std::move(work);
        co_return ControlResponse{.body = "{}"};
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

Task<ControlResponse> misread(std::string why) {
    co_return problem(400, "The request's body cannot be read: " + why + ".", "invalid");
}

/// What `handle` makes of the request's body, which is JSON; without one it is an empty object.
template <class Handle>
Task<ControlResponse> withBody(const ControlRequest& request, Handle handle) {
    boost::system::error_code error;
    const json::value body = request.body.empty() ? json::object() : json::parse(request.body, error);
    if (error) {
        return misread("it is not JSON");
    }
    try {
        return handle(body);
    } catch (const Misread& why) {
        return misread(why.what());
    }
}

std::size_t numberOf(const std::string& text, std::size_t otherwise) {
    std::size_t number = otherwise;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : otherwise;
}

/// "limit", and each "status", of the query.
BugQuery bugQueryOf(const ControlRequest& request) {
    BugQuery query;
    std::vector<std::string> statuses;
    const auto target = boost::urls::parse_origin_form(request.target);
    if (!target) {
        return query;
    }
    for (const auto& [key, value, isGiven] : target->params()) {
        if (key == "status") {
            statuses.push_back(value);
        } else if (key == "limit") {
            constexpr std::size_t most = 10000;
            const std::size_t limit = numberOf(value, static_cast<std::size_t>(query.limit));
            query.limit = static_cast<int>(std::clamp<std::size_t>(limit, 1, most));
        }
    }
    if (!statuses.empty()) {
        query.statuses = std::move(statuses);
    }
    return query;
}

/// Which part of a list is asked for: "offset" and "limit" of the query.
struct Page {
    static constexpr std::size_t usual = 100;
    static constexpr std::size_t most = 1000;

    std::size_t offset = 0;
    std::size_t limit = usual;
};

Page pageOf(const ControlRequest& request) {
    Page page;
    const auto target = boost::urls::parse_origin_form(request.target);
    if (!target) {
        return page;
    }
    for (const auto& [key, value, isGiven] : target->params()) {
        if (key == "offset") {
            page.offset = numberOf(value, page.offset);
        } else if (key == "limit") {
            page.limit = std::clamp<std::size_t>(numberOf(value, page.limit), 1, Page::most);
        }
    }
    return page;
}

/// One page of a list, and how long the list is.
template <class Value, class Shown>
json::value paged(const std::vector<Value>& values, Page page, Shown shown) {
    const std::size_t begin = std::min(page.offset, values.size());
    const std::size_t end = begin + std::min(page.limit, values.size() - begin);
    json::array items;
    for (std::size_t index = begin; index < end; ++index) {
        items.push_back(shown(values[index]));
    }
    return json::object{{"items", std::move(items)},
                        {"offset", begin},
                        {"total", values.size()},
                        {"next_offset", end < values.size() ? json::value(end) : json::value(nullptr)}};
}

template <class Value>
Task<ControlResponse> answerPage(Task<std::vector<Value>> work, Page page) {
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
        return answerPage(service_.queue(), pageOf(request));
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
    router.add("GET", "/v1/settings", Audience::people,
               [this](const ControlRequest&) { return answer(service_.settings()); });
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
        return answer(service_.bugs(bugQueryOf(request)), [](const auto& bugs) { return shownBugs(bugs); });
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
