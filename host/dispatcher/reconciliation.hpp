#pragma once

#include <exception>
#include <map>

#include "host/dispatcher/chore.hpp"
#include "host/recovery/recovery.hpp"

namespace quernlight::host {

/// Why a session was not seen to its end that ended on this failure.
Interruption interruptionBy(const std::exception_ptr& failure);

/// Reconciles the items whose last session nobody saw to its end, those of an earlier run and those of this
/// one, until none is left. Used on the dispatcher's executor.
class Reconciliation {
  public:
    explicit Reconciliation(ChoreContext& context)
        : context_(context), services_(context.services), recovery_(context.services) {}

    /// Adds what an earlier run left behind. Throws DatabaseError.
    Task<void> findInterrupted();

    /// The item's session has ended, and nobody knows how.
    void add(const BugQueueItem& item, const Interruption& cause);

    /// Until it is cancelled.
    Task<void> run();

    bool isDone() const { return waiting_.empty(); }
    bool contains(const Uuid& itemID) const { return waiting_.contains(itemID); }

  private:
    struct Interrupted {
        BugQueueItem item{};
        Interruption cause{};
    };

    Task<void> reconcileAll();
    Task<void> reconcile(Interrupted interrupted);
    void tellWaiting(const std::string& bugID, const std::string& reason);
    Task<void> pauseAfter(int failures);

    ChoreContext& context_;
    SessionServices& services_;
    Recovery recovery_;
    std::map<Uuid, Interrupted> waiting_;  // by queue item
    AsyncSignal wanted_;                   // an item was added
};

}  // namespace quernlight::host
