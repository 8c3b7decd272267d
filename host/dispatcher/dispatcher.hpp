#pragma once

#include <exception>
#include <memory>
#include <set>
#include <vector>

#include "host/dispatcher/backend_polling.hpp"
#include "host/dispatcher/chore.hpp"
#include "host/dispatcher/orphan_watch.hpp"
#include "host/dispatcher/periodic_looks.hpp"
#include "host/dispatcher/reconciliation.hpp"
#include "host/dispatcher/running_sessions.hpp"
#include "host/dispatcher/start_loop.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

struct DispatcherSettings {
    bool once = false;  ///< one intake, then end when nothing is queued or running
    IntakeScope scope = IntakeScope::openBugs;
    int fetchLimit = firstListLimit;  ///< bugs asked for per status at first
};

/// Stands for all items where one is claimed, also those that come meanwhile.
inline constexpr Uuid everyItem{};

/// The loop that moves bugs along: reconciles what an earlier run left, takes bugs in, starts their sessions
/// in list order, retires what is merged, and waits for all of it to come to an end. Each of these is a chore
/// with a class of its own; this one runs them together. Runs on one executor, which must be a single
/// thread's or a strand.
class Dispatcher {
  public:
    Dispatcher(SessionServices& services, LiveSettings& settings, DispatcherSettings options,
               SessionFactory makeSession);
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    /// Returns when `once` has nothing left to do, or when every session has ended after a wish to stop: no
    /// session starts after that. Throws UserError when the backend refuses the token, or cannot be reached
    /// and `once` is set.
    Task<void> run();

    /// What may be started now is looked at once more, at once.
    void lookNow() { context_.changed.notify(); }

    /// Ends the item's session politely and has the item held, which is stored first. Whether it has a
    /// session. Throws DatabaseError.
    Task<bool> stopSession(Uuid itemID);

    ItemWork workOn(const Uuid& itemID) const;

    /// While what is returned lives no session of the item begins, and neither is it retired: its state can
    /// be looked at and changed in one step. A start that was being looked at is looked at once more.
    std::shared_ptr<const void> claim(const Uuid& itemID);

    /// What the item's last session has come to is found out, unless somebody works on it.
    void reconcile(const BugQueueItem& item);

    /// Why the item did not start when that was last decided; nothing for one that did, or was not waiting.
    std::optional<WaitReason> reasonToWait(const Uuid& itemID) const { return starts_.reasonToWait(itemID); }

    int sessionsRunning() const { return sessions_.count(); }

    /// When the backend is asked for bugs next; nothing when it is not, or is being asked.
    std::optional<Clock::TimePoint> nextPollAt() const { return polling_.nextPollAt(); }

    const ListedBugs& listed() const { return intake_.listed(); }

    Retirement& retirement() { return retirement_; }

  private:
    Task<void> prepare();
    Task<void> showQueue();
    Task<void> workUntilAllHasEnded();
    Task<void> takeBugsIn();
    Task<void> endingAllWithIt(Task<void> chore);
    bool isFree(const Uuid& itemID) const;
    void sessionEnded(const BugQueueItem& item, const std::exception_ptr& failure);
    void endWith(std::exception_ptr failure);
    void beginStopping();
    void throwFailure() const;

    SessionServices& services_;
    ChoreContext context_;
    std::size_t claimsMade_ = 0;
    const std::shared_ptr<std::multiset<Uuid>> claims_ = std::make_shared<std::multiset<Uuid>>();
    RunningSessions sessions_;
    Reconciliation reconciliation_;
    Intake intake_;
    Retirement retirement_;
    BackendPolling polling_;
    StartLoop starts_;
    OrphanWatch orphans_;
    PeriodicLooks looks_;
    const StopRequest::Subscription atStop_;
    std::exception_ptr failure_;  // thrown once every session has ended
    int unstoredEnds_ = 0;        // of sessions, while stopping
};

}  // namespace quernlight::host
