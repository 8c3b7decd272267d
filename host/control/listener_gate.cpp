#include "host/control/listener_gate.hpp"

#include <algorithm>
#include <array>

#include "host/process/secret.hpp"

namespace quernlight::host {
namespace {

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

bool isHere(const std::string& host, const std::string& port) {
    constexpr std::array<std::string_view, 3> names{"127.0.0.1", "localhost", "[::1]"};
    return std::ranges::any_of(
        names, [&](std::string_view name) { return host == name || host == std::string(name) + ":" + port; });
}

bool isOwnOrigin(const std::string& origin, const std::string& port) {
    return origin == "http://127.0.0.1:" + port || origin == "http://localhost:" + port;
}

}  // namespace

std::optional<std::string> foreignTrouble(const RequestOrigin& request, std::uint16_t port) {
    const std::string text = std::to_string(port);
    if (request.hosts.size() != 1 || !isHere(lowerCase(request.hosts.front()), text)) {
        return "The request is for another host; ask for 127.0.0.1:" + text + ".";
    }
    const bool isOwn = std::ranges::all_of(
        request.origins, [&](const std::string& origin) { return isOwnOrigin(lowerCase(origin), text); });
    return isOwn ? std::nullopt : std::optional<std::string>("Web pages of other origins are not answered.");
}

std::optional<std::string> bearerSecret(const std::string& authorization) {
    constexpr std::string_view scheme = "bearer ";
    if (lowerCase(authorization.substr(0, scheme.size())) != scheme) {
        return std::nullopt;
    }
    const std::size_t begin = authorization.find_first_not_of(' ', scheme.size());
    return begin == std::string::npos ? "" : authorization.substr(begin);
}

std::optional<ControlResponse> ListenerGate::refusal(const RequestOrigin& request, TimePoint now) {
    if (const auto trouble = foreignTrouble(request, port_)) {
        return problem(403, *trouble);
    }
    if (bringsToken(request)) {
        return std::nullopt;
    }
    if (!wrongTokens_.takeNow(now)) {
        return problem(429, "Requests without the token come too often; wait a second, then ask with it.");
    }
    ControlResponse refused =
        problem(401,
                "The token is missing or wrong; send \"Authorization: Bearer\" with what listen.token in the "
                "home holds.");
    refused.fields.emplace_back("WWW-Authenticate", "Bearer");
    return refused;
}

bool ListenerGate::bringsToken(const RequestOrigin& request) const {
    if (request.authorizations.size() != 1) {
        return false;
    }
    const auto secret = bearerSecret(request.authorizations.front());
    return secret && areEqualSecrets(token_, *secret);
}

}  // namespace quernlight::host
