#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/control/control_message.hpp"
#include "host/health/rate_limiter.hpp"

namespace quernlight::host {

/// What a request's header says of where it comes from: each of its fields of that name.
struct RequestOrigin {
    std::vector<std::string> hosts{};
    std::vector<std::string> origins{};
    std::vector<std::string> authorizations{};
};

/// Why a request on the listener of that port is not taken, whatever token it brings; nothing when it may be.
/// One that names another host was sent by a browser that was made to believe that this machine is that host,
/// one with another origin by a page from elsewhere. Pure.
std::optional<std::string> foreignTrouble(const RequestOrigin& request, std::uint16_t port);

/// What stands behind the scheme "Bearer", in any case (RFC 9110); nothing for another scheme.
std::optional<std::string> bearerSecret(const std::string& authorization);

/// Decides which requests on the listener are taken: those of this machine that bring the token. Used on one
/// executor.
class ListenerGate {
  public:
    using TimePoint = RateLimiter::TimePoint;

    ListenerGate(std::uint16_t port, std::string token) : port_(port), token_(std::move(token)) {}

    /// The answer to a request that is not taken. Whoever brings the token is never told to wait, however
    /// often others try.
    std::optional<ControlResponse> refusal(const RequestOrigin& request, TimePoint now);

  private:
    bool bringsToken(const RequestOrigin& request) const;

    const std::uint16_t port_;
    const std::string token_;
    RateLimiter wrongTokens_{2, 20};  // how often one may be tried
};

}  // namespace quernlight::host
