#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/dispatcher/admission.hpp"
#include "host/settings/settings.hpp"
#include "host/store/dispatch_store.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// A process of the attempt's session that still runs, or an orphan that works in its worktree: it would not
/// be safe to start there. Reads every process's environment.
std::optional<pid_t> processLeftBy(const SessionAttemptRecord& attempt);

/// How the machine is looked at.
struct MachineLooks {
    std::function<std::optional<std::uint64_t>()> availableMemory;  ///< in bytes
    std::function<std::optional<pid_t>(const SessionAttemptRecord&)> processLeftBy;
    /// Why no agent can be started, or a repository used, in one sentence. Where either is empty, nothing is
    /// missing.
    std::function<std::optional<std::string>(const std::vector<std::string>& command)> missingAgent{};
    std::function<std::optional<std::string>(const AppMapping& resolved)> repositoryTrouble{};
};

/// The looks at this machine; programs are looked for in this environment.
MachineLooks looksAtThisMachine(EnvironmentMap environment = currentEnvironmentMap());

/// Gathers what `admit` decides by: from the store, from the machine, and from the home's owner what only
/// that knows. Worktrees are looked into only for items that would start otherwise, since that takes long.
/// Used on one executor; `settings` outlives it.
class FactGatherer {
  public:
    /// Adds what only the owner knows, where it is called by one.
    using OwnersPart = std::function<void(AdmissionFacts&)>;

    FactGatherer(DispatchStore store, const Settings& settings, OwnersPart addOwnersPart = {},
                 MachineLooks machine = looksAtThisMachine())
        : store_(std::move(store)),
          settings_(settings),
          addOwnersPart_(std::move(addOwnersPart)),
          machine_(std::move(machine)) {}

    /// As of now. Throws DatabaseError.
    Task<AdmissionFacts> gather() const;

  private:
    struct Repository {
        std::string path{};
        std::optional<std::string> trouble{};
    };

    Task<std::map<std::string, Repository>> repositoriesOf(const std::vector<BugQueueItem>& items) const;
    Task<bool> isStartRequested(const BugQueueItem& item) const;
    ProgramFacts programFacts(const std::vector<ItemFacts>& items) const;
    Task<void> lookIntoWorktrees(AdmissionFacts& facts) const;

    const DispatchStore store_;
    const Settings& settings_;
    const OwnersPart addOwnersPart_;
    const MachineLooks machine_;
};

/// What `admit` decides by, as far as anybody but the home's owner can tell. Throws DatabaseError.
Task<AdmissionFacts> factsWithoutOwner(DispatchStore store, const Settings& settings);

/// Why an item does not start by these, with the stored settings; nothing for an item that runs, has ended,
/// or would start. `store` may be open for reading only. Throws
/// DatabaseError.
Task<std::optional<WaitReason>> reasonToWait(DispatchStore store, Uuid itemID);

}  // namespace quernlight::host
