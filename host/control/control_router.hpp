#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/control/control_message.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Whom something is offered to.
enum class Audience {
    people,   ///< agents' processes are refused
    anybody,  ///< the handler sees to it who may
};

/// That a request is not of the form that was agreed, in a sentence: it is answered with 400.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Which request goes to whom. Filled by those who offer something, before the server begins; used on one
/// executor.
class ControlRouter {
  public:
    using Handler = std::function<Task<ControlResponse>(ControlRequest)>;
    using Listener = std::function<Task<void>(ControlRequest)>;
    using SecretTest = std::function<bool(const std::string& secret)>;

    /// `path` is like "/v1/sessions/*/tools/*"; a "*" is one segment that is not empty.
    void add(std::string method, std::string path, Audience audience, Handler handler);

    /// Offers, to people, GET /v1: what is offered, as "version" and "routes".
    void offerIndex(const std::string& version);

    /// `refused` is told of each request of an agent's process for what is for people; it must not throw.
    void whenRefused(Listener refused) { refused_ = std::move(refused); }

    /// Which secrets are anybody's.
    void knowsSecretsBy(SecretTest isKnown) { isKnown_ = std::move(isKnown); }
    bool knows(const std::string& secret) const { return isKnown_(secret); }

    /// What the handler answers. A path that nobody offers is 404, another method 405, what is not for the
    /// peer 403, a BadRequest 400, what else a handler throws 500, with its sentence; only a cancellation
    /// goes on.
    Task<ControlResponse> respond(ControlRequest request) const;

  private:
    struct Route {
        std::string method;
        std::vector<std::string> segments;
        Audience audience;
        Handler handler;
    };

    Task<ControlResponse> index(std::string version) const;

    std::vector<Route> routes_;
    Listener refused_ = [](ControlRequest) -> Task<void> { co_return; };
    SecretTest isKnown_ = [](const std::string&) { return false; };
};

}  // namespace quernlight::host
