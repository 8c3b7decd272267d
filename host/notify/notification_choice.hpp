#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/events/dispatch_event.hpp"
#include "host/notify/notification.hpp"

namespace quernlight::host {

/// Says which events a person is notified of. Of each once: not again when a pause is only made longer, and
/// not of what an earlier run has left behind, since that has told it. Pure.
class NotificationChoice {
  public:
    /// `known`: the queue as this run finds it, for the names of its bugs.
    explicit NotificationChoice(const std::vector<BugQueueItem>& known);

    /// To be asked about every event, in order.
    std::optional<Notification> notificationOf(const DispatchEvent& event, Instant now);

  private:
    struct BugName {
        std::string appName{};
        std::string title{};
    };

    std::optional<Notification> chosen(const ItemChanged& changed, Instant now);
    std::optional<Notification> chosen(const ItemRemoved& removed, Instant now);
    std::optional<Notification> chosen(const StageChanged& changed, Instant now);
    std::optional<Notification> chosen(const AlertRaised& raised, Instant now);
    std::optional<Notification> chosen(const AlertCleared& cleared, Instant now);
    template <class Event>
    std::optional<Notification> chosen(const Event&, Instant) {
        return std::nullopt;
    }

    Notification aboutBug(NotificationKind kind, const std::string& bugID) const;

    std::map<std::string, BugName> names_;  // by bug
    std::set<std::string> moved_;           // bugs with an event since the queue was found so
    std::set<std::string> merged_;          // bugs
    std::set<AlertKey> pauses_;             // that hold
};

}  // namespace quernlight::host
