#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

namespace quernlight {

/// What any call to the backend can throw besides a `DecodingError` and the transport's `TransportError`.
/// `what()` is the sentence for the user. A value to copy and compare.
class BackendError : public std::runtime_error {
  public:
    enum class Case { server, invalidURL, invalidResponse };

    /// The backend answered with an HTTP status outside 200 to 299, and asked for so long a pause (if any).
    static BackendError server(int status, std::string body,
                               std::optional<std::chrono::seconds> retryAfter = std::nullopt);

    /// No URL can be formed from the base URL and the arguments.
    static BackendError invalidURL();

    /// The answer was not an HTTP response.
    static BackendError invalidResponse();

    Case which() const { return which_; }

    /// HTTP status and body text; 0 and empty unless the case is `server`.
    int status() const { return status_; }
    const std::string& body() const { return body_; }

    /// Whether the backend answered with exactly this HTTP status.
    bool isServer(int status) const { return which_ == Case::server && status_ == status; }

    /// How long, from the answer on, the backend wants to be left alone; nothing when it did not say. Plays
    /// no part when errors are compared.
    const std::optional<std::chrono::seconds>& retryAfter() const { return retryAfter_; }

    bool operator==(const BackendError& other) const {
        return which_ == other.which_ && status_ == other.status_ && body_ == other.body_;
    }

  private:
    BackendError(Case which, const std::string& message) : std::runtime_error(message), which_(which) {}

    Case which_;
    int status_ = 0;
    std::string body_;
    std::optional<std::chrono::seconds> retryAfter_;
};

}  // namespace quernlight
