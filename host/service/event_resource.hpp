#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "host/control/control_router.hpp"
#include "host/events/event_publisher.hpp"
#include "host/process/clock.hpp"
#include "host/service/event_record.hpp"

namespace quernlight::host {

/// All that happens, for other processes: told as it happens, or listed. Records it from its making on. Used
/// on one executor; outlives the requests.
class EventResource {
  public:
    /// Both outlive this.
    EventResource(EventPublisher& events, const Clock& clock, EventRecord::Limits limits = {});

    /// Offers, to people, GET /v1/events, with "after", the number of the event that the client knows last: a
    /// WebSocket that tells each event after it as one text, or, where none is asked for, a list of those
    /// that have happened, at most "limit". A client that knows no event, or one after which some are not
    /// known any more, is told "reset" first. One that does not read loses events, and is told so later; it
    /// holds nothing up.
    void offerOn(ControlRouter& router);

  private:
    Task<ControlResponse> respond(ControlRequest request);
    ControlResponse listed(const ControlRequest& request) const;
    Task<void> serve(ControlChannel& channel, std::optional<std::uint64_t> after);
    Task<void> send(ControlChannel& channel, std::optional<std::uint64_t> after, AsyncSignal news) const;

    const Clock& clock_;
    EventRecord record_;
    std::list<AsyncSignal> followers_;
    const EventPublisher::Subscription recording_;
};

}  // namespace quernlight::host
