#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/events/dispatch_event.hpp"
#include "host/notify/notification.hpp"

namespace quernlight::host {

/// What an earlier run has told and still holds.
struct EarlierNews {
    std::map<std::string, std::string> questions{};  ///< by bug, of those that nothing has answered
    std::vector<AlertKey> pauses{};
};

/// Says which events a person is notified of. Of each once: not again of the same question that another
/// attempt at a bug meets, nor of a pause before a start has succeeded, and not of what an earlier run has
/// left behind, since that has told it. Pure.
class NotificationChoice {
  public:
    /// `known`: the queue as this run finds it, for the names of its bugs.
    explicit NotificationChoice(const std::vector<BugQueueItem>& known, const EarlierNews& earlier = {});

    /// To be asked about every event, in order.
    std::optional<Notification> notificationOf(const DispatchEvent& event, Instant now);

  private:
    struct BugName {
        std::string appName{};
        std::string title{};
    };

    struct AskedQuestion {
        std::string words{};  // without the digits
        std::optional<Uuid> session{};
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

    bool isNews(NotificationKind kind, const ItemChanged& changed);
    Notification aboutBug(NotificationKind kind, const std::string& bugID) const;

    std::map<std::string, BugName> names_;            // by bug
    std::set<std::string> moved_;                     // bugs with an event since the queue was found so
    std::set<std::string> merged_;                    // bugs
    std::map<std::string, AskedQuestion> questions_;  // by bug, of those that nothing has answered
    int goals_ = 0;                                   // accepted so far
    std::map<AlertKey, int> pauses_;                  // told, with how many goals were accepted by then
    std::set<AlertKey> holding_;                      // of the pauses
};

}  // namespace quernlight::host
