#include "host/service/outcome_resource.hpp"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "host/service/json_fields.hpp"
#include "host/service/list_page.hpp"
#include "host/service/preserved_json.hpp"
#include "host/service/report_json.hpp"
#include "host/service/review_json.hpp"
#include "host/service/service_answer.hpp"

namespace quernlight::host {
namespace {

/// The last parameter of that name; empty when there is none.
std::string parameterOf(const ControlRequest& request, std::string_view name) {
    std::string last;
    if (const auto target = boost::urls::parse_origin_form(request.target)) {
        for (const auto& [key, value, isGiven] : target->params()) {
            if (key == name) {
                last = value;
            }
        }
    }
    return last;
}

/// A word that is not known here may mean that nothing is to be done.
bool isDryRun(const boost::json::value& body) {
    const bool dryRun = JsonFields(body).flag("dry_run", false);
    if (body.get_object().size() > body.get_object().count("dry_run")) {
        throw Misread("it may have \"dry_run\" and nothing else");
    }
    return dryRun;
}

template <class Values>
boost::json::array arrayOf(const Values& values) {
    return jsonArray(values, [](const auto& value) { return jsonOf(value); });
}

/// With the report's own members beside those of a page.
boost::json::object pageOfReport(const Report& report, ListPage part) {
    boost::json::object whole = jsonOf(report);
    const boost::json::array& rows = whole.at("bugs").as_array();
    boost::json::object page = paged(std::vector<boost::json::value>(rows.begin(), rows.end()), part,
                                     [](const boost::json::value& row) { return row; });
    whole.erase("bugs");
    for (auto& [name, member] : page) {
        whole[name] = std::move(member);
    }
    return whole;
}

}  // namespace

void OutcomeResource::offerOn(ControlRouter& router) {
    offerReport(router);
    offerPreserved(router);
    offerReview(router);
}

void OutcomeResource::offerReport(ControlRouter& router) {
    router.add("GET", "/v1/report", Audience::people, [this](const ControlRequest& request) {
        constexpr std::chrono::hours usual(12);
        const std::string given = parameterOf(request, "since");
        const auto since = given.empty() ? std::optional(currentInstant() - usual) : parseInstant(given);
        const auto page = [part = pageOf(request)](const Report& report) {
            return pageOfReport(report, part);
        };
        return since ? answer(service_.report(*since), page)
                     : misreadBody("\"since\" is no time like 2026-11-21T22:00:00Z");
    });
}

void OutcomeResource::offerReview(ControlRouter& router) {
    router.add("GET", "/v1/review/states", Audience::people, [this](const ControlRequest& request) {
        const ListRange range = rangeOf(request);
        return answer(service_.reviewStates(range), [range](const ReviewStates& reviews) {
            return pageOfItems(arrayOf(reviews.states), range.offset, reviews.total);
        });
    });
    router.add("POST", "/v1/review/reap", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const boost::json::value& body) {
            return answer(service_.reap(isDryRun(body)), [](const auto& bugs) {
                return boost::json::object{{"bugs", arrayOf(bugs)}};
            });
        });
    });
}

void OutcomeResource::offerPreserved(ControlRouter& router) {
    router.add("GET", "/v1/preserved", Audience::people, [this](const ControlRequest& request) {
        const ListRange range = rangeOf(request);
        return answer(service_.preserved(range), [range](const PreservedList& list) {
            boost::json::object page = pageOfItems(arrayOf(list.works), range.offset, list.total);
            page["troubles"] = jsonArray(list.troubles, jsonText);
            return page;
        });
    });
    router.add("GET", "/v1/preserved/*", Audience::people, [this](const ControlRequest& request) {
        return answer(service_.preservedWork(request.parameters.at(0)));
    });
    router.add("POST", "/v1/preserved/*/restore", Audience::people, [this](const ControlRequest& request) {
        return withBody(request, [&](const boost::json::value& body) {
            return answer(service_.restorePreserved(readRestoreRequest(request.parameters.at(0), body)));
        });
    });
}

}  // namespace quernlight::host
