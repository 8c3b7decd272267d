#pragma once

#include <memory>
#include <string>

#include "host/agent/live_screens.hpp"
#include "host/control/control_router.hpp"
#include "host/events/event_publisher.hpp"
#include "host/process/clock.hpp"

namespace quernlight::host {

/// What the owner lets people do with the terminals of the agents that run. Used on one executor; outlives
/// the requests.
class TerminalResource {
  public:
    /// All outlive this.
    TerminalResource(const EventPublisher& events, const LiveScreens& screens, Clock& clock)
        : events_(events), screens_(screens), clock_(clock) {}

    /// Offers, to people, GET /v1/sessions/{bug}/terminal, a WebSocket, and POST /v1/sessions/{bug}/input,
    /// which types "text", presses Enter behind it where "enter" is true, and with "raw" sends the text's
    /// control characters, too. 404 when no agent works on the bug.
    void offerOn(ControlRouter& router);

    /// Once all sessions have ended: returns when those who were attached have been told, within two seconds.
    Task<void> end();

  private:
    Task<ControlResponse> attach(std::string bugID);
    Task<void> serve(ControlChannel& channel, std::string bugID, LiveAgent agent);
    Task<ControlResponse> type(ControlRequest request);
    std::string noAgent(const std::string& bugID) const;
    Task<std::string> endSentence(std::string bugID, std::shared_ptr<AgentTerminal> terminal);

    const EventPublisher& events_;
    const LiveScreens& screens_;
    Clock& clock_;
    int attached_ = 0;
};

}  // namespace quernlight::host
