#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/control/control_message.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Which request goes to whom. Filled by those who offer something, before the server begins; used on one
/// executor.
class ControlRouter {
  public:
    using Handler = std::function<Task<ControlResponse>(ControlRequest)>;

    /// `path` is like "/v1/sessions/*/tools/*"; a "*" is one segment that is not empty.
    void add(std::string method, std::string path, Handler handler);

    /// What the handler answers. A path that nobody offers is 404, another method 405, what a handler throws
    /// 500 with its sentence; only a cancellation goes on.
    Task<ControlResponse> respond(ControlRequest request) const;

  private:
    struct Route {
        std::string method;
        std::vector<std::string> segments;
        Handler handler;
    };

    std::vector<Route> routes_;
};

}  // namespace quernlight::host
