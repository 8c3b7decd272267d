#pragma once

#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/bug_session.hpp"
#include "host/bug_source.hpp"
#include "host/session_services.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

struct DispatcherSettings {
    int maxSessions = 2;
    bool once = false;  ///< one intake, then end when nothing is queued or running
    IntakeScope scope = IntakeScope::openBugs;
    int fetchLimit = 200;  ///< bugs asked for per status
    std::chrono::milliseconds intakeInterval = std::chrono::seconds(30);
};

/// The loop that moves bugs along: takes them in, starts their sessions in list order, and waits for both to
/// come to an end. Runs on one executor, which must be a single thread's or a strand.
class Dispatcher {
  public:
    Dispatcher(SessionServices& services, DispatcherSettings settings);

    /// Returns when `once` has nothing left to do, or after `stop` when every session has ended. Throws
    /// UserError when the backend refuses the token, or cannot be reached and `once` is set.
    Task<void> run();

    /// No new sessions; those that run are stopped politely and their items put back to be resumed.
    void stop();

    /// Every agent is killed at once. After `stop`.
    void kill();

  private:
    Task<void> settleInterrupted();
    Task<void> releaseMappedItems();
    Task<void> startSessionsUntilDone();
    Task<void> takeInOnce();
    Task<void> takeInRepeatedly();
    Task<void> takeInOrStop();
    Task<void> takeIn();
    Task<void> enqueue(std::vector<QLBugSummaryDTO> bugs);
    Task<std::vector<QLBugSummaryDTO>> fetchBugs();
    bool mayStart(const BugQueueItem& item) const;
    Task<void> fillFreePlaces();
    Task<void> start(BugQueueItem item);
    Task<void> runSession(std::shared_ptr<BugSession> session, Uuid itemID);
    Task<bool> idle();
    Task<void> nameWaitingItems();
    void noteOnce(const std::string& sentence);

    SessionServices& services_;
    const DispatcherSettings settings_;
    std::map<Uuid, std::shared_ptr<BugSession>> sessions_;  // by queue item; held until the session has ended
    std::set<Uuid> unsettled_;     // items whose session could not store its end; not tried again in this run
    std::set<std::string> noted_;  // what need not be said again
    boost::asio::any_io_executor executor_;
    AsyncSignal changed_;         // a session ended, bugs came in, or a stop was asked for
    std::exception_ptr failure_;  // thrown once every session has ended
    bool intakeEnded_ = false;    // no further bugs will come in
    bool stopping_ = false;
};

}  // namespace quernlight::host
