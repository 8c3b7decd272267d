#pragma once

#include <string>
#include <utility>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "host/control/control_message.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/service_error.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

// How the resources of the service answer.

/// A problem with the code's name as "code".
ControlResponse problemOf(const ServiceError& error);

/// That the request's body is not of the form that was agreed.
Task<ControlResponse> misreadBody(std::string why);

/// The work's result, or its error, as a response.
template <class Result, class Shown>
Task<ControlResponse> answer(Task<Result> work, Shown shown) {
    try {
        const Result result = co_await std::move(work);
        const boost::json::value value = shown(result);
        co_return ControlResponse{.body = boost::json::serialize(value)};
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

template <class Result>
Task<ControlResponse> answer(Task<Result> work) {
    return answer(std::move(work), [](const Result& result) { return boost::json::value(jsonOf(result)); });
}

/// What `handle` makes of the request's body, which is JSON; without one it is an empty object.
template <class Handle>
Task<ControlResponse> withBody(const ControlRequest& request, Handle handle) {
    boost::system::error_code error;
    const boost::json::value body =
        request.body.empty() ? boost::json::object() : boost::json::parse(request.body, error);
    if (error) {
        return misreadBody("it is not JSON");
    }
    try {
        return handle(body);
    } catch (const Misread& why) {
        return misreadBody(why.what());
    }
}

}  // namespace quernlight::host
