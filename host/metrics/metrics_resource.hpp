#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "host/agent/live_screens.hpp"
#include "host/control/control_router.hpp"
#include "host/control/control_server.hpp"
#include "host/events/event_publisher.hpp"
#include "host/health/backend_health.hpp"
#include "host/metrics/event_counts.hpp"
#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// What is measured of a running owner, for programs that watch machines. Counts from its making on. Used on
/// one executor; outlives the requests.
class MetricsResource {
  public:
    /// All outlive this.
    struct Uses {
        DispatchService& service;
        EventPublisher& events;
        const BackendHealth& backend;
        const LiveScreens& screens;
        const ControlCounts& requests;
    };

    explicit MetricsResource(Uses uses);

    /// Offers, to people, GET /metrics.
    void offerOn(ControlRouter& router);

  private:
    Task<ControlResponse> respond() const;

    const Uses uses_;
    EventCounts counts_;
    const EventPublisher::Subscription counting_;
};

/// How many of the sessions are in each stage, and how many of the queue's bugs have each status. Pure.
std::vector<Metric> queueMetrics(const std::vector<RunningSession>& sessions,
                                 const std::vector<QueueEntry>& queue);

}  // namespace quernlight::host
