#include "host/events/event_publisher.hpp"

#include <exception>
#include <utility>
#include <vector>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {
namespace {

/// What has happened has happened, and whoever told of it goes on, whatever becomes of those who are told.
void tell(const EventPublisher::Handler& handler, const DispatchEvent& event) {
    try {
        handler(event);
    } catch (...) {
        reportFailure("a subscriber of events", std::current_exception());
    }
}

}  // namespace

EventPublisher::Subscription EventPublisher::subscribe(Handler handler) {
    auto subscription = std::make_shared<const Handler>(std::move(handler));
    subscribers_.emplace(subscriptions_++, subscription);
    return subscription;
}

/// A handler may subscribe or leave, so those that are there now are held.
void EventPublisher::publish(const DispatchEvent& event) {
    std::vector<Subscription> told;
    for (const auto& [number, subscriber] : subscribers_) {
        told.push_back(subscriber.lock());
    }
    std::erase_if(subscribers_, [](const auto& entry) { return entry.second.expired(); });
    for (const Subscription& subscriber : told) {
        if (subscriber) {
            tell(*subscriber, event);
        }
    }
}

void EventPublisher::progress(const BugProgress& progress) {
    BugProgress& known = bugs_[progress.bugID];
    const bool isNewStage = known.bugID.empty() || known.stage != progress.stage;
    known = progress;
    if (isNewStage) {
        publish(StageChanged{progress});
    } else {
        publish(DetailChanged{progress});
    }
}

void EventPublisher::removed(const std::string& bugID) {
    bugs_.erase(bugID);
    publish(ItemRemoved{bugID});
}

void EventPublisher::notice(const std::string& sentence) {
    publish(Notice{sentence});
}

void EventPublisher::noticeOnce(const std::string& sentence) {
    if (noticed_.insert(sentence).second) {
        notice(sentence);
    }
}

void EventPublisher::alert(const AlertKey& key, const std::string& sentence) {
    const auto held = alerts_.find(key);
    if (sentence.empty() && held != alerts_.end()) {
        alerts_.erase(held);
        publish(AlertCleared{key});
    } else if (!sentence.empty() && (held == alerts_.end() || held->second != sentence)) {
        alerts_[key] = sentence;
        publish(AlertRaised{key, sentence});
    }
}

}  // namespace quernlight::host
