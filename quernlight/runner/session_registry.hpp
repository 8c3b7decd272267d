#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "quernlight/platform/event_stream.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/runner/pty_process.hpp"

namespace quernlight {

/// A runner's live sessions and who listens to them. Safe from any thread; its lock is never held while an
/// event is delivered.
class SessionRegistry : public std::enable_shared_from_this<SessionRegistry> {
  public:
    /// Registers a started process in place of any other of that id; one that has exited by now is left out.
    void add(const Uuid& sessionID, std::shared_ptr<PTYProcess> process);

    /// Throws RunnerError (`missingSession`).
    std::shared_ptr<PTYProcess> process(const Uuid& sessionID) const;

    std::vector<RunnerSessionSnapshot> snapshots() const;

    EventStream<RunnerEvent> subscribe(const Uuid& sessionID);

    /// How many events wait in that stream of the session in which most do.
    std::size_t mostWaiting(const Uuid& sessionID) const;

    /// Gives the event to every listener of its session, in the order of subscription. `exited` also removes
    /// the process that has exited (not one that took its id meanwhile) and finishes the listeners' streams.
    void dispatch(const RunnerEvent& event);

    /// Hangs up on what still runs and finishes all streams. Only when the reader queue has stopped.
    void close();

  private:
    using Listener = EventContinuation<RunnerEvent>;

    std::vector<Listener> listenersFor(const RunnerEvent& event);
    void removeExited(const Uuid& sessionID);
    void unsubscribe(const Uuid& sessionID, const Listener& listener);

    mutable std::mutex lock_;
    std::unordered_map<Uuid, std::shared_ptr<PTYProcess>> processes_;
    std::vector<std::shared_ptr<PTYProcess>> replaced_;  // still run, no longer reachable by their id
    std::unordered_map<Uuid, std::vector<Listener>> listeners_;
};

}  // namespace quernlight
