#include "quernlight/backend/backend_error.hpp"

#include <utility>

namespace quernlight {

BackendError BackendError::server(int status, std::string body,
                                  std::optional<std::chrono::seconds> retryAfter) {
    const std::string message = "The backend returned HTTP " + std::to_string(status);
    BackendError error(Case::server, body.empty() ? message : message + ": " + body);
    error.status_ = status;
    error.body_ = std::move(body);
    error.retryAfter_ = retryAfter;
    return error;
}

BackendError BackendError::invalidURL() {
    return {Case::invalidURL, "Invalid backend URL."};
}

BackendError BackendError::invalidResponse() {
    return {Case::invalidResponse, "The backend returned an invalid response."};
}

}  // namespace quernlight
