#include "host/metrics/metrics_resource.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "quernlight/platform/resident_memory.hpp"

namespace quernlight::host {
namespace {

Metric counter(std::string name, std::string help, std::uint64_t value) {
    return metric(MetricType::counter, std::move(name), std::move(help), static_cast<double>(value));
}

Metric sessionsByState(const std::vector<RunningSession>& sessions) {
    Metric told{.name = "quernlight_sessions", .help = "Sessions that run, by what they do."};
    for (int number = 0; number <= static_cast<int>(SessionStage::cancelled); ++number) {
        const auto stage = static_cast<SessionStage>(number);
        if (isRunning(stage) || stage == SessionStage::toReconcile) {
            const auto count = std::ranges::count(sessions, stage, &RunningSession::stage);
            told.samples.push_back(
                {.labels = {{"state", std::string(stageName(stage))}}, .value = static_cast<double>(count)});
        }
    }
    return told;
}

Metric queueByStatus(const std::vector<QueueEntry>& queue) {
    Metric told{.name = "quernlight_queue_bugs", .help = "Bugs of the queue, by status."};
    for (const QueueItemStatus status : allQueueItemStatuses) {
        const auto count = std::ranges::count_if(
            queue, [&](const QueueEntry& entry) { return entry.item.status == status; });
        told.samples.push_back(
            {.labels = {{"status", std::string(rawValue(status))}}, .value = static_cast<double>(count)});
    }
    return told;
}

Metric needAttention(const std::vector<QueueEntry>& queue) {
    const auto count =
        std::ranges::count_if(queue, [](const QueueEntry& entry) { return needsAttention(entry.stage); });
    return metric(MetricType::gauge, "quernlight_bugs_needing_attention",
                  "Bugs with which nothing goes on until a person has done something.",
                  static_cast<double>(count));
}

Metric requestsByStatus(const ControlCounts& requests) {
    Metric told{.name = "quernlight_requests_total",
                .help = "Requests to the local API that were answered, by the status's first digit.",
                .type = MetricType::counter};
    for (std::size_t digit = 1; digit < requests.answers.size(); ++digit) {
        told.samples.push_back({.labels = {{"status", std::to_string(digit) + "xx"}},
                                .value = static_cast<double>(requests.answers.at(digit))});
    }
    return told;
}

template <class Values>
void append(std::vector<Metric>& metrics, Values more) {
    std::ranges::move(more, std::back_inserter(metrics));
}

}  // namespace

std::vector<Metric> queueMetrics(const std::vector<RunningSession>& sessions,
                                 const std::vector<QueueEntry>& queue) {
    return {sessionsByState(sessions), queueByStatus(queue), needAttention(queue)};
}

MetricsResource::MetricsResource(Uses uses)
    : uses_(uses),
      counting_(uses.events.subscribe([this](const DispatchEvent& event) { counts_.handle(event); })) {}

void MetricsResource::offerOn(ControlRouter& router) {
    router.add("GET", "/metrics", Audience::people, [this](const ControlRequest&) { return respond(); });
}

Task<ControlResponse> MetricsResource::respond() const {
    const std::vector<RunningSession> sessions = co_await uses_.service.sessions();
    const QueueList queue = co_await uses_.service.queue();
    std::vector<Metric> metrics = queueMetrics(sessions, queue.entries);
    append(metrics, counts_.metrics());
    metrics.push_back(counter("quernlight_backend_polls_total", "Requests to the backend that were tried.",
                              uses_.backend.asked()));
    metrics.push_back(counter("quernlight_backend_poll_errors_total", "Requests to the backend that failed.",
                              uses_.backend.failures()));
    metrics.push_back(counter("quernlight_recorded_bytes_total",
                              "Bytes that agents have written to their terminals.",
                              uses_.screens.recordedBytes()));
    metrics.push_back(requestsByStatus(uses_.requests));
    if (const auto memory = residentMemory()) {
        metrics.push_back(metric(MetricType::gauge, "quernlight_resident_memory_bytes",
                                 "Memory of the dispatcher's own process.", static_cast<double>(*memory)));
    }
    co_return ControlResponse{.contentType = metricsContentType, .body = expositionText(metrics)};
}

}  // namespace quernlight::host
