#include "host/dispatcher/fact_gatherer.hpp"

#include <algorithm>

#include <unistd.h>

#include "host/agent/agent_environment.hpp"
#include "host/dispatcher/start_request.hpp"
#include "host/health/outside_failure.hpp"
#include "host/process/process_tree.hpp"
#include "host/settings/settings_store.hpp"
#include "host/store/readable_queue.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/platform/available_memory.hpp"

namespace quernlight::host {
namespace {

constexpr std::uint64_t mebibyte = 1024 * 1024;

/// The first item that would start without a look into its worktree.
ItemFacts* nextToLookAt(AdmissionFacts& facts) {
    const auto decisions = admit(facts);
    for (std::size_t index = 0; index < decisions.size(); ++index) {
        if (decisions[index].starts() && !facts.items[index].worktree) {
            return &facts.items[index];
        }
    }
    return nullptr;
}

bool isQueued(const ItemFacts& facts) {
    return facts.item.status == QueueItemStatus::queued;
}

bool isLive(const ItemFacts& facts) {
    return !isQueued(facts) && facts.item.status != QueueItemStatus::waitingForMapping;
}

}  // namespace

std::optional<pid_t> processLeftBy(const SessionAttemptRecord& attempt) {
    const auto sessionID = parseUuid(attempt.completionMarker);
    if (!sessionID) {
        return std::nullopt;
    }
    const auto alive = ProcessTree(*sessionID).alive();
    if (!alive.empty()) {
        return alive.front().pid;
    }
    const auto orphan = attempt.agentWorkspacePath
                            ? orphanIn(*attempt.agentWorkspacePath, processTable(), getpid())
                            : std::nullopt;
    return orphan ? std::optional(orphan->pid) : std::nullopt;
}

MachineLooks looksAtThisMachine(EnvironmentMap environment) {
    return {.availableMemory = quernlight::availableMemory,
            .processLeftBy = host::processLeftBy,
            .missingAgent =
                [environment = std::move(environment)](const std::vector<std::string>& command) {
                    return host::missingAgent(command, environment);
                },
            .repositoryTrouble =
                [](const AppMapping& mapping) {
                    return host::repositoryTrouble(mapping.repoPath, mapping.resolvedWorktreeRootPath());
                }};
}

Task<AdmissionFacts> FactGatherer::gather() const {
    AdmissionFacts facts;
    auto items = co_await readableItems(store_);
    const auto repositories = co_await repositoriesOf(items);
    for (BugQueueItem& item : items) {
        const auto repository = repositories.find(item.bundleID);
        ItemFacts known{.item = std::move(item)};
        if (repository != repositories.end()) {
            known.repository = repository->second.path;
            known.repositoryTrouble = repository->second.trouble;
        }
        known.startRequested = co_await isStartRequested(known.item);
        facts.items.push_back(std::move(known));
    }
    facts.program = programFacts(facts.items);
    if (addOwnersPart_) {
        addOwnersPart_(facts);
    }
    co_await lookIntoWorktrees(facts);
    co_return facts;
}

/// Resolving a path may wait for a slow disk, so it is done for the apps of these items only.
Task<std::map<std::string, FactGatherer::Repository>> FactGatherer::repositoriesOf(
    const std::vector<BugQueueItem>& items) const {
    std::map<std::string, Repository> repositories;
    for (AppMapping& mapping : co_await store_.mappings.allMappings()) {
        const std::string bundleID = mapping.bundleID;
        const auto isOfApp = [&](const BugQueueItem& item) { return item.bundleID == bundleID; };
        if (std::ranges::any_of(items, isOfApp)) {
            const AppMapping used = resolved(std::move(mapping));
            Repository repository{.path = used.repoPath};
            if (machine_.repositoryTrouble) {
                repository.trouble = machine_.repositoryTrouble(used);
            }
            repositories.emplace(bundleID, std::move(repository));
        }
    }
    co_return repositories;
}

Task<bool> FactGatherer::isStartRequested(const BugQueueItem& item) const {
    if (item.queueMode == QueueMode::automatic) {
        co_return false;
    }
    co_return startIsRequested(co_await store_.items.events(item.id));
}

/// Items in a live status have a session of the owner that runs now, or will be put back at the next start.
ProgramFacts FactGatherer::programFacts(const std::vector<ItemFacts>& items) const {
    ProgramFacts program{.sessionsRunning = static_cast<int>(std::ranges::count_if(items, isLive)),
                         .maxSessions = settings_.maxSessions,
                         .memoryWantedMiB = static_cast<std::uint64_t>(settings_.memoryFloorMiB)};
    if (const auto available = machine_.availableMemory()) {
        program.memoryAvailableMiB = *available / mebibyte;
    }
    if (machine_.missingAgent && std::ranges::any_of(items, isQueued)) {
        program.missingAgent = machine_.missingAgent(settings_.agentCommand);
    }
    return program;
}

/// What a look shows may let a later item start in the place of this one.
Task<void> FactGatherer::lookIntoWorktrees(AdmissionFacts& facts) const {
    while (ItemFacts* item = nextToLookAt(facts)) {
        const auto attempt = co_await store_.attempts.latestAttempt(item->item.id);
        item->worktree.emplace();
        item->worktree->process = attempt ? machine_.processLeftBy(*attempt) : std::nullopt;
    }
}

Task<AdmissionFacts> factsWithoutOwner(DispatchStore store, const Settings& settings) {
    const FactGatherer gatherer(std::move(store), settings);
    co_return co_await gatherer.gather();
}

Task<std::optional<WaitReason>> reasonToWait(DispatchStore store, Uuid itemID) {
    const SettingsStore settingsStore(store.database);
    const StoredSettings stored = co_await settingsStore.read();
    const AdmissionFacts facts = co_await factsWithoutOwner(store, stored.settings);
    const auto decisions = admit(facts);
    const auto found = std::ranges::find(decisions, itemID, [](const auto& each) { return each.item.id; });
    const bool waits =
        found != decisions.end() && found->reason && found->reason->cause != WaitCause::running;
    co_return waits ? found->reason : std::nullopt;
}

}  // namespace quernlight::host
