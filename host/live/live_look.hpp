#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "host/live/live_picture.hpp"
#include "host/process/clock.hpp"
#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// What the live view finds out, of a service that may be this process's or another one's. Used on one
/// executor.
class LiveLook {
  public:
    /// The service and the clock outlive this.
    LiveLook(DispatchService& service, std::filesystem::path home, Clock& clock)
        : service_(service), home_(std::move(home)), clock_(clock) {}

    /// How all stands. Throws what the service throws.
    Task<LiveAnswers> answers();

    /// What a pane tells of a bug. What cannot be had is a sentence in it.
    Task<PaneText> pane(std::string bugID, LivePane pane);

  private:
    Task<std::vector<std::string>> lines(std::string bugID, LivePane pane);
    Task<std::vector<std::string>> changes(QueueItemDetails details);
    Task<std::vector<std::string>> screen(std::string bugID);
    Task<void> askForQuestions(const std::vector<QueueEntry>& queue);

    DispatchService& service_;
    const std::filesystem::path home_;
    Clock& clock_;
    std::map<std::string, std::string> questions_;
};

}  // namespace quernlight::host
