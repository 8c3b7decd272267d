#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/intake/intake.hpp"
#include "host/process/orphan_reaper.hpp"
#include "host/process/unclaimed_children.hpp"
#include "host/recovery/recovery.hpp"
#include "host/retirement/retirement.hpp"
#include "host/session/bug_session.hpp"
#include "host/session/session_services.hpp"
#include "host/settings/live_settings.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

struct DispatcherSettings {
    bool once = false;  ///< one intake, then end when nothing is queued or running
    IntakeScope scope = IntakeScope::openBugs;
    int fetchLimit = firstListLimit;  ///< bugs asked for per status at first
};

/// The loop that moves bugs along: settles what an earlier run left, takes bugs in, starts their sessions in
/// list order, retires what is merged, and waits for all of it to come to an end. Runs on one executor, which
/// must be a single thread's or a strand.
class Dispatcher {
  public:
    Dispatcher(SessionServices& services, LiveSettings& settings, DispatcherSettings options);

    /// Returns when `once` has nothing left to do, or after `stop` when every session has ended. Throws
    /// UserError when the backend refuses the token, or cannot be reached and `once` is set.
    Task<void> run();

    /// No new sessions; those that run are stopped politely and their items put back to be resumed.
    void stop();

    /// Every agent is killed at once. After `stop`.
    void kill();

  private:
    /// An item whose last session nobody saw to its end.
    struct Unreconciled {
        BugQueueItem item;
        Interruption cause{};
    };

    // The chores, each on its own until the end (dispatcher_chores.cpp)
    Task<void> heartbeat();
    Task<void> watchClocks();
    Task<void> reconcileInterrupted();
    Task<void> takeBugsIn();
    Task<void> retireRepeatedly();

    Task<void> endingAllWithIt(Task<void> chore);
    Task<std::exception_ptr> troubleIn(Task<void> round);
    void take(const std::exception_ptr& trouble);
    void endIfTokenIsRefused();
    bool isClaimed(const ProcessEntry& process) const;
    void tellUnclaimedChildren();
    void lookAtHome();
    Task<void> lookAtDisk();
    Task<void> refreshSettings();
    Task<void> endOrphans();
    Task<void> findInterrupted();
    Task<void> reconcileOnce();
    Task<void> pauseReconciliation(int failures);
    Task<void> pauseFor(double Settings::*seconds, int failures = 0);
    void endWith(std::exception_ptr failure);

    Task<void> startSessionsUntilDone();
    Task<void> startOrEnd();
    Task<void> releaseMappedItems();
    Task<void> showQueue();
    Task<bool> idle();
    Task<void> nameWaitingItems();
    Task<void> tellWhatWasNotStarted();
    bool isBusy(const Uuid& itemID) const;

    // What starts, and when it may (dispatcher_places.cpp)
    Task<void> fillFreePlaces();
    Task<void> endUnusedPauses();
    Task<bool> mayStart(BugQueueItem item);
    Task<bool> isWanted(BugQueueItem item) const;
    Task<bool> isPaused(BugQueueItem item) const;
    Task<std::string> blocker(BugQueueItem item) const;
    bool memoryIsShort();
    Task<void> start(BugQueueItem listed);
    Task<void> awaitMapping(BugQueueItem item);
    Task<void> runSession(std::shared_ptr<BugSession> session, Uuid itemID);
    bool rests(const Uuid& itemID);
    void forgetRested();

    SessionServices& services_;
    LiveSettings& settings_;
    const DispatcherSettings options_;
    Intake intake_;
    Recovery recovery_;
    Retirement retirement_;
    OrphanReaper orphans_;
    UnclaimedChildren unclaimed_;
    std::map<Uuid, std::shared_ptr<BugSession>> sessions_;  // by queue item; held until the session has ended
    std::map<Uuid, Unreconciled> unreconciled_;             // by queue item
    std::map<Uuid, std::chrono::steady_clock::time_point> resting_;  // items that must not start before then
    boost::asio::any_io_executor executor_;
    AsyncSignal changed_;               // something may be started now, or the end may have come
    AsyncSignal reconciliationWanted_;  // an item became unreconciled
    std::exception_ptr failure_;        // thrown once every session has ended
    bool intakeEnded_ = false;          // no further bugs will come in
    bool done_ = false;                 // nothing is left to do, and nothing more will come
    bool stopping_ = false;
    int unstoredEnds_ = 0;     // of sessions, while stopping
    bool homeIsAway_ = false;  // as it was last told
};

}  // namespace quernlight::host
