#include "host/control/control_router.hpp"

#include <exception>
#include <optional>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/system/system_error.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "host/text/failure_sentence.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// The decoded segments of a request's path; nothing when it is none.
std::optional<std::vector<std::string>> segmentsOf(const std::string& target) {
    const auto parsed = boost::urls::parse_origin_form(target);
    if (!parsed) {
        return std::nullopt;
    }
    std::vector<std::string> segments;
    for (const auto& segment : parsed->segments()) {
        segments.emplace_back(segment);
    }
    return segments;
}

/// What stands for the pattern's "*"; nothing when the path does not fit it.
std::optional<std::vector<std::string>> match(const std::vector<std::string>& pattern,
                                              const std::vector<std::string>& path) {
    if (pattern.size() != path.size()) {
        return std::nullopt;
    }
    std::vector<std::string> parameters;
    for (std::size_t index = 0; index < path.size(); ++index) {
        if (pattern[index] == "*" && !path[index].empty()) {
            parameters.push_back(path[index]);
        } else if (pattern[index] != path[index]) {
            return std::nullopt;
        }
    }
    return parameters;
}

Task<ControlResponse> answered(const ControlRouter::Handler& handler, ControlRequest request) {
    unsigned status = 500;
    std::string failure;
    try {
        Task<ControlResponse> handling = handler(std::move(request));
        co_return co_await std::move(handling);
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        failure = failureSentence(error);
    } catch (const BadRequest& error) {
        status = 400;
        failure = error.what();
    } catch (const std::exception& error) {
        failure = failureSentence(error);
    }
    co_return problem(status, failure, status == 400 ? "invalid" : "");
}

}  // namespace

void ControlRouter::add(std::string method, std::string path, Audience audience, Handler handler) {
    std::vector<std::string> segments;
    for (const std::string_view piece : piecesBetweenSlashes(path)) {
        segments.emplace_back(piece);
    }
    routes_.push_back({std::move(method), std::move(segments), audience, std::move(handler)});
}

void ControlRouter::offerIndex(const std::string& version) {
    add("GET", "/v1", Audience::people, [this, version](const ControlRequest&) { return index(version); });
}

Task<ControlResponse> ControlRouter::index(std::string version) const {
    boost::json::array routes;
    for (const Route& route : routes_) {
        std::string path;
        for (const std::string& segment : route.segments) {
            path += "/" + segment;
        }
        routes.push_back(boost::json::object{{"method", route.method}, {"path", path}});
    }
    const boost::json::object body{{"version", version}, {"routes", std::move(routes)}};
    co_return ControlResponse{.body = boost::json::serialize(body)};
}

Task<ControlResponse> ControlRouter::respond(ControlRequest request) const {
    const auto path = segmentsOf(request.target);
    if (!path) {
        co_return problem(400, "The request names no path.");
    }
    bool isKnown = false;
    for (const Route& route : routes_) {
        auto parameters = match(route.segments, *path);
        isKnown = isKnown || parameters;
        const bool isForPeer = route.audience == Audience::anybody || request.caller.isPerson;
        if (parameters && !isForPeer) {
            co_await refused_(std::move(request));
            co_return problem(403,
                              "This is for people only: an agent's processes may call the tools of their own "
                              "session, and nothing else.");
        }
        if (parameters && route.method == request.method) {
            request.parameters = std::move(*parameters);
            co_return co_await answered(route.handler, std::move(request));
        }
    }
    co_return isKnown ? problem(405, "This resource does not take " + request.method + ".")
                      : problem(404, "There is no such resource.");
}

}  // namespace quernlight::host
