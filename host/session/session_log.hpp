#pragma once

#include <optional>
#include <string>

#include "host/events/item_history.hpp"
#include "host/health/disk_health.hpp"
#include "host/session/session_state.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// Where a session tells what happens to it: events of its item's history, and its stage.
class SessionLog {
  public:
    SessionLog(SessionState& state, DispatchStore store, DiskHealth& disk, EventPublisher& events)
        : state_(state), store_(std::move(store)), disk_(disk), events_(events) {}

    /// The session's line now reads so.
    void show(SessionStage stage, std::string detail = {});

    /// A sentence about the bug for people.
    void note(const std::string& sentence);

    /// Writes an event. Throws DatabaseError.
    Task<void> tell(EventKind kind, std::string message, std::optional<std::string> metadata = {});

    /// The same for an event without which the session can go on.
    Task<void> tellIfPossible(EventKind kind, std::string message, std::optional<std::string> metadata = {});

    /// A write without which the session can go on: a disk that is full for a while must not end it.
    Task<void> ifPossible(Task<void> write);

    /// Whether the queue item is still this session's. Throws DatabaseError.
    Task<bool> isStillOurs();

  private:
    SessionState& state_;
    const DispatchStore store_;
    DiskHealth& disk_;
    EventPublisher& events_;
};

}  // namespace quernlight::host
