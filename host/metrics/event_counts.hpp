#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "host/events/dispatch_event.hpp"
#include "host/metrics/metric_text.hpp"

namespace quernlight::host {

/// What the events of a running dispatcher come to, counted since its start. Used on one executor.
class EventCounts {
  public:
    void handle(const DispatchEvent& event);

    /// Of a bounded number of series, whatever happens.
    std::vector<Metric> metrics() const;

  private:
    void count(const QueueEvent& event);
    void timePrompt(const QueueEvent& event, EventKind kind);
    Metric eventsByType() const;
    Metric itemEventsByKind() const;
    Metric goalsByResult() const;
    std::uint64_t of(EventKind kind) const { return kinds_.at(static_cast<std::size_t>(kind)); }

    std::array<std::uint64_t, std::variant_size_v<DispatchEvent>> types_{};
    std::array<std::uint64_t, static_cast<std::size_t>(EventKind::retired) + 1> kinds_{};
    std::map<Uuid, Instant> starts_;  // of agents whose prompts are not ready yet, by item
    Histogram promptWaits_{{1, 2, 5, 10, 20, 30, 60, 120, 300, 600}};
};

}  // namespace quernlight::host
