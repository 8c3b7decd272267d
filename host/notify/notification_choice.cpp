#include "host/notify/notification_choice.hpp"

#include <utility>

#include "host/events/event_kind.hpp"
#include "host/events/history_look.hpp"
#include "host/text/counted.hpp"

namespace quernlight::host {
namespace {

std::optional<NotificationKind> notificationKind(EventKind kind) {
    switch (kind) {
        case EventKind::needsPerson:
        case EventKind::awaitingUserInput:
            return NotificationKind::needsYou;
        case EventKind::completed:
            return NotificationKind::completed;
        case EventKind::failed:
            return NotificationKind::failed;
        case EventKind::retired:
            return NotificationKind::merged;
        default:
            return std::nullopt;
    }
}

}  // namespace

NotificationChoice::NotificationChoice(const std::vector<BugQueueItem>& known, const EarlierNews& earlier) {
    for (const BugQueueItem& item : known) {
        names_[item.bugID] = {.appName = item.appName, .title = item.title};
    }
    for (const auto& [bugID, question] : earlier.questions) {
        questions_[bugID].words = withoutDigits(question);
    }
    for (const AlertKey& pause : earlier.pauses) {
        pauses_[pause] = goals_;
        holding_.insert(pause);
    }
}

std::optional<Notification> NotificationChoice::notificationOf(const DispatchEvent& event, Instant now) {
    return std::visit([&](const auto& what) { return chosen(what, now); }, event);
}

/// A retirement that could not be done to its end tells of it again.
bool NotificationChoice::isNews(NotificationKind kind, const ItemChanged& changed) {
    if (kind == NotificationKind::merged) {
        return merged_.insert(changed.bugID).second;
    }
    if (kind == NotificationKind::needsYou) {
        const AskedQuestion asked{withoutDigits(changed.event.message), changed.event.sessionID};
        const AskedQuestion known = std::exchange(questions_[changed.bugID], asked);
        // A session tells its question again only once another one, or none, has stood on its screen.
        return known.words != asked.words || (asked.session && known.session == asked.session);
    }
    return true;
}

std::optional<Notification> NotificationChoice::chosen(const ItemChanged& changed, Instant) {
    moved_.insert(changed.bugID);
    const auto event = parseEventKind(changed.event.kind);
    goals_ += event == EventKind::goalAccepted ? 1 : 0;
    if (event && answersQuestions(*event)) {
        questions_.erase(changed.bugID);
    }
    if (event == EventKind::enqueued || event == EventKind::retried || event == EventKind::followUpWanted) {
        merged_.erase(changed.bugID);  // it is worked on anew, and may be merged again
    }
    const auto kind = event ? notificationKind(*event) : std::nullopt;
    if (!kind || !isNews(*kind, changed)) {
        return std::nullopt;
    }
    Notification notification = aboutBug(*kind, changed.bugID);
    notification.message = changed.event.message;
    notification.time = changed.event.createdAt;
    notification.sessionID = changed.event.sessionID;
    return notification;
}

std::optional<Notification> NotificationChoice::chosen(const ItemRemoved& removed, Instant) {
    names_.erase(removed.bugID);
    moved_.erase(removed.bugID);
    questions_.erase(removed.bugID);
    return std::nullopt;
}

/// No event of an item's history says that it waits for a mapping; that it has one at all in this run tells a
/// bug that waits from now on from one that waited before.
std::optional<Notification> NotificationChoice::chosen(const StageChanged& changed, Instant now) {
    const BugProgress& progress = changed.progress;
    names_[progress.bugID] = {.appName = progress.appName, .title = progress.title};
    if (progress.stage != SessionStage::needsMapping || moved_.erase(progress.bugID) == 0) {
        return std::nullopt;
    }
    Notification notification = aboutBug(NotificationKind::needsYou, progress.bugID);
    notification.message = "The bug waits for a repository; name one with: quernlight-dispatch map set";
    notification.time = now;
    return notification;
}

/// A pause may also end because no bug waits for its end; the next one for the same cause is no news then.
std::optional<Notification> NotificationChoice::chosen(const AlertRaised& raised, Instant now) {
    if (raised.key.topic != AlertTopic::starts) {
        return std::nullopt;
    }
    const bool isLonger = !holding_.insert(raised.key).second;
    const auto told = pauses_.find(raised.key);
    if (told != pauses_.end() && (isLonger || told->second == goals_)) {
        return std::nullopt;
    }
    pauses_[raised.key] = goals_;
    return Notification{.kind = NotificationKind::paused, .message = raised.sentence, .time = now};
}

std::optional<Notification> NotificationChoice::chosen(const AlertCleared& cleared, Instant) {
    holding_.erase(cleared.key);
    return std::nullopt;
}

Notification NotificationChoice::aboutBug(NotificationKind kind, const std::string& bugID) const {
    const auto name = names_.find(bugID);
    const BugName known = name == names_.end() ? BugName{} : name->second;
    return {.kind = kind, .bugID = bugID, .appName = known.appName, .title = known.title};
}

}  // namespace quernlight::host
