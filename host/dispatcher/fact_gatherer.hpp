#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "host/dispatcher/admission.hpp"
#include "host/settings/settings.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// A process of the attempt's session that still runs, or an orphan that works in its worktree: it would not
/// be safe to start there. Reads every process's environment.
std::optional<pid_t> processLeftBy(const SessionAttemptRecord& attempt);

/// How the machine is looked at.
struct MachineLooks {
    std::function<std::optional<std::uint64_t>()> availableMemory;  ///< in bytes
    std::function<std::optional<pid_t>(const SessionAttemptRecord&)> processLeftBy;
};

/// The looks at this machine.
MachineLooks looksAtThisMachine();

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
    Task<std::map<std::string, std::string>> repositoriesOf(const std::vector<BugQueueItem>& items) const;
    Task<bool> isStartRequested(const BugQueueItem& item) const;
    ProgramFacts programFacts(const std::vector<ItemFacts>& items) const;
    Task<void> lookIntoWorktrees(AdmissionFacts& facts) const;

    const DispatchStore store_;
    const Settings& settings_;
    const OwnersPart addOwnersPart_;
    const MachineLooks machine_;
};

/// Why an item does not start, as far as anybody but the home's owner can tell, by the stored settings;
/// nothing for an item that runs, has ended, or would start. `store` may be open for reading only. Throws
/// DatabaseError.
Task<std::optional<WaitReason>> reasonToWait(DispatchStore store, Uuid itemID);

}  // namespace quernlight::host
