#include "host/dispatcher/start_request.hpp"

#include "host/events/event_kind.hpp"

namespace quernlight::host {

namespace {

/// What comes after it (that it was recovered, say) does not bring back the wish that led to it.
bool isEnd(EventKind kind) {
    return kind == EventKind::completed || kind == EventKind::awaitingUserInput ||
           kind == EventKind::failed || kind == EventKind::cancelled || kind == EventKind::sessionStopped ||
           kind == EventKind::holdRequested;
}

}  // namespace

bool startIsRequested(const std::vector<QueueEvent>& events) {
    bool requested = false;
    bool granted = false;  // the session that runs, or was interrupted, was asked for
    for (const QueueEvent& event : events) {
        const auto kind = parseEventKind(event.kind);
        if (kind == EventKind::startRequested) {
            requested = true;
        } else if (kind == EventKind::startingCodex) {
            granted = requested;
            requested = false;
        } else if (kind == EventKind::resumable || kind == EventKind::recovered) {
            requested = requested || granted;  // its start may have been cut off before it was told
        } else if (kind == EventKind::queueModeChanged || kind == EventKind::retried ||
                   (kind && isEnd(*kind))) {
            requested = false;
            granted = false;
        }
    }
    return requested;
}

}  // namespace quernlight::host
