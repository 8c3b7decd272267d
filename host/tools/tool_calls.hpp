#pragma once

#include <string>

#include <boost/json/object.hpp>

#include "host/control/control_router.hpp"
#include "host/events/item_history.hpp"
#include "host/process/clock.hpp"
#include "host/tools/bug_tools.hpp"
#include "host/tools/tool_access.hpp"

namespace quernlight::host {

/// The calls of the agents' tools, as they come to the owner: whose each is, and whether it is made. What is
/// refused is an event of the item's. Used on one executor; outlives the calls.
class ToolCalls {
  public:
    struct Uses {
        ToolAccess& access;
        QueueRepository items;
        EventPublisher& events;
        Clock& clock;
    };

    ToolCalls(Uses uses, BugTools tools) : uses_(std::move(uses)), tools_(std::move(tools)) {}

    /// Offers POST /v1/sessions/{session}/tools/{tool}, with the session's secret and the tool's arguments:
    /// 200 with what the tool says, or a problem with a sentence for the agent. A process of another
    /// session's agent is refused whatever its secret. What such processes ask for that is not theirs is an
    /// event of their session's, once.
    void offerOn(ControlRouter& router);

    struct Call {
        std::string sessionID{};
        std::string secret{};
        std::string tool{};
        boost::json::object arguments{};
    };

    Task<ToolResult> make(Call call);

  private:
    Task<ControlResponse> respond(ControlRequest request);
    ToolResult accessTrouble(const BugTools::Session& session, const std::string& secret);
    Task<void> tellRefusal(BugTools::Session session, std::string tool, ToolResult result);
    Task<void> tellIntrusion(ControlRequest request);
    Task<void> record(BugTools::Session session, std::string message, std::string tool);

    const Uses uses_;
    BugTools tools_;
    RateLimiter wrongSecrets_{2, 20};  // how often one may be tried
};

}  // namespace quernlight::host
