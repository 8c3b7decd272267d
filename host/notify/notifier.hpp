#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/events/event_publisher.hpp"
#include "host/notify/notification_channel.hpp"
#include "host/notify/notification_choice.hpp"
#include "host/process/stop_request.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/backend/http_session.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// Notifies people by the command and the webhook of the settings, which count as they are at the moment, of
/// what NotificationChoice chooses of the events. Nothing that becomes of a notification concerns anybody
/// else. Used on the publisher's executor; `end` comes before its end.
class Notifier {
  public:
    struct Uses {
        EventPublisher& events;
        const Settings& settings;
        Clock& clock;
        std::filesystem::path home;
        EnvironmentMap environment;  ///< the command's, complete
    };

    /// `known`: the queue as this run finds it; `earlier`: what an earlier run has told.
    Notifier(const boost::asio::any_io_executor& executor, Uses uses, const std::vector<BugQueueItem>& known,
             const EarlierNews& earlier = {});

    /// Notifies of something that no event tells.
    void tell(const Notification& notification);

    /// Takes no more events, and lets what is under way end for two seconds, unless `stop` says to end at
    /// once.
    Task<void> end(StopRequest& stop);

  private:
    void handle(const DispatchEvent& event);
    Task<void> deliverByCommand(std::string line);
    Task<void> deliverByWebhook(std::string line);
    Task<void> awaitDelivered();

    const Uses uses_;
    NotificationChoice choice_;
    std::unique_ptr<HttpSession> http_;  // with its thread only where there is a webhook
    NotificationChannel command_;
    NotificationChannel webhook_;
    EventPublisher::Subscription subscription_;
};

}  // namespace quernlight::host
