#include "host/service/service_answer.hpp"

namespace quernlight::host {
namespace {

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

}  // namespace

ControlResponse problemOf(const ServiceError& error) {
    return problem(statusOf(error.code()), error.what(), std::string(nameOf(error.code())));
}

Task<ControlResponse> misreadBody(std::string why) {
    co_return problem(400, "The request's body cannot be read: " + why + ".", "invalid");
}

}  // namespace quernlight::host
