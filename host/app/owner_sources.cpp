#include "host/app/owner_sources.hpp"

#include <chrono>

#include <unistd.h>

#include "host/agent/agent_environment.hpp"
#include "quernlight/platform/available_memory.hpp"

namespace quernlight::host {
namespace {

Condition conditionOf(const std::string& trouble) {
    return {.state = trouble.empty() ? Condition::State::well : Condition::State::troubled,
            .trouble = trouble};
}

/// Empty when there is none.
std::string diskTrouble(const EventPublisher& events) {
    const auto alert = events.alerts().find({AlertTopic::disk});
    return alert == events.alerts().end() ? "" : alert->second;
}

std::optional<std::uint64_t> memoryMiB() {
    constexpr std::uint64_t bytes = 1 << 20;
    const auto available = availableMemory();
    return available ? std::optional(*available / bytes) : std::nullopt;
}

std::optional<Instant> nextPoll(const OwnerParts& parts) {
    const auto next = parts.dispatcher.nextPollAt();
    if (!next) {
        return std::nullopt;
    }
    const Clock& clock = parts.services.clock;
    return clock.now() + std::chrono::duration_cast<Instant::duration>(*next - clock.steadyNow());
}

OwnerReport reportOf(const OwnerParts& parts) {
    return {.pid = getpid(),
            .version = QUERNLIGHT_VERSION,
            .since = parts.since,
            .backend = parts.backend,
            .sessions = parts.dispatcher.sessionsRunning(),
            .maxSessions = parts.services.settings.maxSessions,
            .memoryMiB = memoryMiB(),
            .nextPollAt = nextPoll(parts),
            .listening = parts.listening};
}

HealthReport healthOf(const OwnerParts& parts) {
    const SessionServices& services = parts.services;
    HealthReport report{.owner = reportOf(parts),
                        .backend = conditionOf(services.health.trouble()),
                        .disk = conditionOf(diskTrouble(services.events))};
    for (const auto& [key, sentence] : services.events.alerts()) {
        report.alerts.push_back(sentence);
    }
    return report;
}

Task<std::optional<std::string>> agentVersionOf(OwnerParts parts) {
    const SessionServices& services = parts.services;
    AgentCommand command{
        .words = services.settings.agentCommand,
        .environment = agentEnvironment(services.environment, services.settings.agentEnvironment)};
    co_return co_await parts.agentVersion.text(std::move(command));
}

/// The session of an item that was changed shows itself.
void showChange(const OwnerParts& parts, const std::optional<QueueEntry>& changed) {
    if (changed && parts.dispatcher.workOn(changed->item.id) == ItemWork::none) {
        BugProgress progress = restingProgress(changed->item);
        progress.stage = changed->stage;
        parts.services.events.progress(progress);
    }
    parts.dispatcher.lookNow();
}

std::optional<Url> pullRequestOf(const OwnerParts& parts, const std::string& bugID) {
    const auto* listed = parts.dispatcher.listed().pullRequest(bugID);
    return listed ? *listed : std::nullopt;
}

}  // namespace

LiveSources ownerSources(OwnerParts parts) {
    EventPublisher& events = parts.services.events;
    Dispatcher& dispatcher = parts.dispatcher;
    return {
        .subscribe =
            [&events](EventPublisher::Handler handler) { return events.subscribe(std::move(handler)); },
        .pullRequest = [parts](const std::string& bugID) { return pullRequestOf(parts, bugID); },
        .health = [parts] { return healthOf(parts); },
        .agentVersion = [parts] { return agentVersionOf(parts); },
        .progress = [&events] { return events.bugs(); },
        .agent = [&screens = parts.screens](const std::string& bugID) { return seenAgent(screens, bugID); },
        .workOn = [&dispatcher](const Uuid& itemID) { return dispatcher.workOn(itemID); },
        .claim = [&dispatcher](const Uuid& itemID) { return dispatcher.claim(itemID); },
        .reconcile = [&dispatcher](const BugQueueItem& item) { dispatcher.reconcile(item); },
        .waits = [&dispatcher](const Uuid& itemID) { return dispatcher.reasonToWait(itemID); },
        .stopSession = [&dispatcher](const Uuid& itemID) { return dispatcher.stopSession(itemID); },
        .changed = [parts](const std::optional<QueueEntry>& changed) { showChange(parts, changed); },
        .removed =
            [parts](const std::string& bugID) {
                parts.services.events.removed(bugID);
                parts.dispatcher.lookNow();
            },
        .retirement = &dispatcher.retirement()};
}

}  // namespace quernlight::host
