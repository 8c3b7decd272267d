#include "host/metrics/event_counts.hpp"

#include <chrono>
#include <string>

namespace quernlight::host {
namespace {

/// In the order of the variant.
constexpr std::array<std::string_view, std::variant_size_v<DispatchEvent>> typeNames{
    "item_changed", "item_removed",  "stage_changed",   "detail_changed",
    "alert_raised", "alert_cleared", "setting_changed", "notice"};

}  // namespace

void EventCounts::handle(const DispatchEvent& event) {
    ++types_.at(event.index());
    if (const auto* changed = std::get_if<ItemChanged>(&event)) {
        count(changed->event);
    }
}

void EventCounts::count(const QueueEvent& event) {
    if (const auto kind = parseEventKind(event.kind)) {
        ++kinds_.at(static_cast<std::size_t>(*kind));
        timePrompt(event, *kind);
    }
}

/// From the agent's start to the first key of its goal, which is typed once its prompt is ready.
void EventCounts::timePrompt(const QueueEvent& event, EventKind kind) {
    const auto start = starts_.find(event.queueItemID);
    if (kind == EventKind::agentStarted) {
        starts_[event.queueItemID] = event.createdAt;
    } else if (start != starts_.end() && kind == EventKind::typing) {
        promptWaits_.add(std::chrono::duration<double>(event.createdAt - start->second).count());
        starts_.erase(start);
    } else if (start != starts_.end() && (endsSession(kind) || kind == EventKind::goalNotTyped)) {
        starts_.erase(start);
    }
}

std::vector<Metric> EventCounts::metrics() const {
    return {eventsByType(), itemEventsByKind(), goalsByResult(),
            promptWaits_.metric("quernlight_prompt_wait_seconds",
                                "From an agent's start until its prompt was ready for the goal.")};
}

Metric EventCounts::eventsByType() const {
    Metric told{.name = "quernlight_events_total",
                .help = "Everything that has happened, by type.",
                .type = MetricType::counter};
    for (std::size_t index = 0; index < types_.size(); ++index) {
        told.samples.push_back({.labels = {{"type", std::string(typeNames.at(index))}},
                                .value = static_cast<double>(types_.at(index))});
    }
    return told;
}

Metric EventCounts::itemEventsByKind() const {
    Metric told{.name = "quernlight_item_events_total",
                .help = "Events of bugs' histories, by kind.",
                .type = MetricType::counter};
    for (std::size_t index = 0; index < kinds_.size(); ++index) {
        const auto kind = static_cast<EventKind>(index);
        told.samples.push_back(
            {.labels = {{"kind", std::string(storedText(kind))}}, .value = static_cast<double>(of(kind))});
    }
    return told;
}

Metric EventCounts::goalsByResult() const {
    Metric told{.name = "quernlight_goals_total",
                .help = "Goals delivered to agents, by how far that came.",
                .type = MetricType::counter};
    const std::pair<const char*, EventKind> results[] = {{"typed", EventKind::typed},
                                                         {"accepted", EventKind::goalAccepted},
                                                         {"refused", EventKind::goalRefused},
                                                         {"not_typed", EventKind::goalNotTyped}};
    for (const auto& [name, kind] : results) {
        told.samples.push_back({.labels = {{"result", name}}, .value = static_cast<double>(of(kind))});
    }
    return told;
}

}  // namespace quernlight::host
