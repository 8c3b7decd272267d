#pragma once

#include <map>
#include <optional>
#include <string>

#include "host/events/event_publisher.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/queue_repository.hpp"

namespace quernlight::host {

/// An event of the program's own in an item's history, beside those that the queue manager writes.
struct ItemEvent {
    Uuid itemID{};
    EventKind kind{};
    std::string message{};  ///< one sentence for people
    std::optional<Uuid> sessionID{};
    std::optional<std::string> metadataJSON{};
};

/// Stores the event with the current time. Throws DatabaseError.
Task<void> appendEvent(QueueRepository items, ItemEvent event);

/// Whether a stored event is of that kind.
bool isOfKind(const QueueEvent& event, EventKind kind);

/// Publishes every event of the items' histories, whoever stores it, once it is stored. Used on one executor.
class HistoryPublisher {
  public:
    explicit HistoryPublisher(EventPublisher& events) : events_(events) {}

    /// The same repository, whose events are published from now on. This must outlive it and its copies.
    QueueRepository publishing(const QueueRepository& items);

    /// The item's session, begun by an earlier owner, has no end yet.
    void resumeSession(const Uuid& itemID, const Uuid& sessionID) { open_[itemID] = sessionID; }

  private:
    void publish(const QueueEvent& event, const std::string& bugID);
    std::optional<Uuid> sessionOf(const QueueEvent& event);

    EventPublisher& events_;
    std::map<Uuid, Uuid> open_;  // the sessions that have begun and not ended, by item
};

}  // namespace quernlight::host
