#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/events/event_publisher.hpp"

namespace quernlight::test {

/// Keeps what is published.
class PublishedEvents {
  public:
    explicit PublishedEvents(host::EventPublisher& events)
        : alerts(events.alerts()), subscription_(events.subscribe([this](const host::DispatchEvent& event) {
              std::visit([this](const auto& what) { keep(what); }, event);
          })) {}

    std::vector<std::string> stages;                      ///< "BUG STAGE"
    std::vector<std::string> notices;                     ///< raised alerts among them
    std::vector<std::string> history;                     ///< "BUG KIND SESSION"
    const std::map<host::AlertKey, std::string>& alerts;  ///< that hold

  private:
    void keep(const host::ItemChanged& changed) {
        const auto& session = changed.event.sessionID;
        history.push_back(changed.bugID + " " + changed.event.kind +
                          (session ? " " + upperCaseText(*session) : ""));
    }
    void keep(const host::ItemRemoved& removed) { stages.push_back(removed.bugID + " removed"); }
    void keep(const host::StageChanged& changed) {
        stages.push_back(changed.progress.bugID + " " + host::stageText(changed.progress));
    }
    void keep(const host::DetailChanged&) {}
    void keep(const host::AlertRaised& raised) { notices.push_back(raised.sentence); }
    void keep(const host::AlertCleared&) {}
    void keep(const host::SettingChanged& changed) { notices.push_back(changed.sentence); }
    void keep(const host::Notice& notice) { notices.push_back(notice.sentence); }

    host::EventPublisher::Subscription subscription_;
};

}  // namespace quernlight::test
