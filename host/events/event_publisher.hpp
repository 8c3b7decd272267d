#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "host/events/dispatch_event.hpp"

namespace quernlight::host {

/// The one stream of what happens: told where it happens, passed on at once, in that order, to everyone who
/// has subscribed. What holds at the moment (bugs, alerts) is kept for those who come later. Used on one
/// executor.
class EventPublisher {
  public:
    /// Must not wait. What it throws is reported, and concerns nobody else.
    using Handler = std::function<void(const DispatchEvent&)>;

    /// Subscribed for as long as this lives, which may be longer than the publisher does.
    using Subscription = std::shared_ptr<const Handler>;

    /// In a handler: the new one is told from the next event on.
    [[nodiscard]] Subscription subscribe(Handler handler);

    void publish(const DispatchEvent& event);

    /// The bug's stage or detail is now so. Publishes StageChanged or DetailChanged.
    void progress(const BugProgress& progress);

    /// The bug has left the queue. Publishes ItemRemoved.
    void removed(const std::string& bugID);

    void notice(const std::string& sentence);

    /// A notice, unless it has been published already.
    void noticeOnce(const std::string& sentence);

    /// What holds now for the key, until it is told otherwise; nothing (an empty sentence) clears it.
    /// Publishes AlertRaised or AlertCleared where that is a change.
    void alert(const AlertKey& key, const std::string& sentence);

    /// The alerts that hold.
    const std::map<AlertKey, std::string>& alerts() const { return alerts_; }

    /// The bugs of the queue, by id, as far as anything was told of them.
    const std::map<std::string, BugProgress>& bugs() const { return bugs_; }

  private:
    std::map<std::size_t, std::weak_ptr<const Handler>> subscribers_;  // in the order of subscribing
    std::size_t subscriptions_ = 0;                                    // ever made
    std::map<AlertKey, std::string> alerts_;
    std::map<std::string, BugProgress> bugs_;
    std::set<std::string> noticed_;
};

}  // namespace quernlight::host
