#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/dispatcher/chore.hpp"
#include "host/dispatcher/fact_gatherer.hpp"
#include "host/dispatcher/reconciliation.hpp"
#include "host/dispatcher/running_sessions.hpp"

namespace quernlight::host {

/// Starts the sessions that `admit` lets start, each time that something has changed, and tells why others
/// wait. Used on the dispatcher's executor.
class StartLoop {
  public:
    /// Who works on an item, and whether nobody does or is about to change it.
    struct Work {
        std::function<ItemWork(const Uuid& itemID)> on;
        std::function<bool(const Uuid& itemID)> isNone;
        std::function<bool()> areAllClaimed;      ///< at once, by who changes their order or mappings
        std::function<std::size_t()> claimsMade;  ///< so far, by those who change items or mappings
    };

    StartLoop(ChoreContext& context, RunningSessions& sessions, Reconciliation& reconciliation, Work work);

    /// Until the program stops or, once no bug comes in any more, nothing is left that could start.
    Task<void> run();

    /// No bug comes in any more.
    void endWhenDone() { noneComes_ = true; }

    /// The item's last session ended on something that could not be stored; another one would not fare better
    /// at once.
    void letRest(const Uuid& itemID);

    /// Why the item did not start when that was last decided; nothing for one that did, or was not waiting.
    std::optional<WaitReason> reasonToWait(const Uuid& itemID) const;

  private:
    Task<void> startWhatMay();
    /// Says whether those after it may start in this round, too.
    Task<bool> start(BugQueueItem listed);
    Task<void> awaitMapping(BugQueueItem item);
    bool mayStartNow(const Uuid& itemID, const std::string& repository) const;
    void addOwnersPart(AdmissionFacts& facts);
    std::optional<StartPause> pauseOf(const std::string& repository) const;
    void endUnusedPauses(const AdmissionFacts& facts);
    void tell(const AdmissionFacts& facts, const std::vector<AdmissionDecision>& decisions);
    void keepReasons(const std::vector<AdmissionDecision>& decisions);
    void tellMemory(const std::vector<AdmissionDecision>& decisions);
    void tellHeldBack(const std::vector<AdmissionDecision>& decisions);
    void endWith(const std::vector<AdmissionDecision>& decisions);

    ChoreContext& context_;
    SessionServices& services_;
    RunningSessions& sessions_;
    Reconciliation& reconciliation_;
    const Work work_;
    const FactGatherer gatherer_;
    std::map<Uuid, Clock::TimePoint> resting_;  // until when
    std::set<std::string> heldBack_;            // bugs of which an alert tells why they wait
    std::map<Uuid, WaitReason> reasons_;        // of the last decisions
    bool noneComes_ = false;
    bool done_ = false;
};

}  // namespace quernlight::host
