#pragma once

#include <exception>

#include "host/session/session.hpp"
#include "host/session/session_agent.hpp"
#include "host/session/session_comments.hpp"
#include "host/session/session_end.hpp"
#include "host/session/session_outside.hpp"
#include "host/session/session_preparation.hpp"
#include "host/session/session_services.hpp"
#include "host/session/session_watch.hpp"

namespace quernlight::host {

/// One run of the agent on one queued bug, from the taking of an attempt number to the item's new status:
/// preparation, watch and end. Owned by the dispatcher; everything runs on the dispatcher's executor.
class BugSession final : public Session {
  public:
    BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping);
    BugSession(SessionServices& services, SessionOutside outside, BugQueueItem item, AppMapping mapping);

    /// Never leaves the agent running. What goes wrong on the way fails the item with the reason; a wish to
    /// stop the program puts it back to be resumed. When its end cannot be stored that is thrown, with the
    /// item left as it is, to be reconciled as after a crash.
    Task<void> run() override;

    void stop() override;

    const Uuid& sessionID() const { return state_.sessionID; }
    const BugQueueItem& item() const override { return state_.item; }

    /// Whether the process was seen to be of its agent's.
    bool hasProcess(const ProcessEntry& process) const override { return agent_.hasProcess(process); }

  private:
    Task<void> runToItsEnd(TaskSet& tasks);
    Task<std::exception_ptr> applyPolicy(std::exception_ptr failure);

    StopRequest& stop_;
    const SessionOutside outside_;
    SessionState state_;
    SessionLog log_;
    SessionAgent agent_;
    SessionComments comments_;
    SessionPreparation preparation_;
    SessionWatch watch_;
    SessionEnd end_;
    const StopRequest::Subscription atStop_;
};

}  // namespace quernlight::host
