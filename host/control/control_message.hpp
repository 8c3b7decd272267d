#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/control/caller.hpp"
#include "host/control/control_channel.hpp"

namespace quernlight::host {

/// One request to the owner.
struct ControlRequest {
    std::string method = "GET";
    std::string target{};                   ///< the path, percent-encoded: "/v1/sessions/…"
    std::string secret{};                   ///< what stands behind "Authorization: Bearer"; may be empty
    std::string body{};                     ///< JSON, or nothing
    std::vector<std::string> parameters{};  ///< what stands for the "*" of its route; the router fills it in
    Caller caller{};                        ///< who asks; the server fills it in
    bool wantsChannel = false;              ///< asks for a WebSocket; the server fills it in
};

struct ControlResponse {
    unsigned status = 200;
    std::string contentType = "application/json";
    std::string body{};
    std::vector<std::pair<std::string, std::string>> fields{};  ///< of the header, besides the usual ones
    /// Set: the request may go on as a channel. It is run on that until it returns, which closes the channel.
    std::function<Task<void>(ControlChannel&)> takeOver{};
};

/// An error as `application/problem+json` (RFC 9457). `detail` is a sentence for whoever asked; `code`, where
/// there is one, is the member of that name, for programs.
ControlResponse problem(unsigned status, const std::string& detail, const std::string& code = "");

struct Problem {
    std::string detail{};
    std::string code{};  ///< empty when it has none
};

/// The error that a response tells; nothing for any other response.
std::optional<Problem> problemOf(const ControlResponse& response);

/// The path of these segments, each percent-encoded.
std::string controlTarget(const std::vector<std::string>& segments);

}  // namespace quernlight::host
