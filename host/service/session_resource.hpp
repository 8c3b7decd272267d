#pragma once

#include <string>

#include <boost/json/object.hpp>

#include "host/agent/live_screens.hpp"
#include "host/control/control_router.hpp"
#include "host/events/event_publisher.hpp"

namespace quernlight::host {

/// What the owner tells other processes of the sessions that run, and of their agents' screens. Used on one
/// executor; outlives the requests.
class SessionResource {
  public:
    /// Both outlive this.
    SessionResource(const EventPublisher& events, const LiveScreens& screens)
        : events_(events), screens_(screens) {}

    /// Offers, to people, GET /v1/sessions/{bug}/screen: what shownSession makes of it with what shownPicture
    /// makes of its screen; 404 when no agent works on the bug.
    void offerOn(ControlRouter& router);

  private:
    Task<ControlResponse> screen(std::string bugID) const;

    const EventPublisher& events_;
    const LiveScreens& screens_;
};

}  // namespace quernlight::host
