#include "host/dispatcher/start_request.hpp"

#include "host/events/item_event.hpp"

namespace quernlight::host {

namespace {

/// What comes after it (that it was recovered, say) does not bring back the wish that led to it.
bool isEnd(const std::string& kind) {
    return kind == "completed" || kind == "awaitingUserInput" || kind == "failed" || kind == "cancelled";
}

}  // namespace

bool startIsRequested(const std::vector<QueueEvent>& events) {
    bool requested = false;
    bool granted = false;  // the session that runs, or was interrupted, was asked for
    for (const QueueEvent& event : events) {
        if (event.kind == event_kind::startRequested) {
            requested = true;
        } else if (event.kind == "startingCodex") {
            granted = requested;
            requested = false;
        } else if (event.kind == "resumable" || event.kind == event_kind::recovered) {
            requested = requested || granted;  // its start may have been cut off before it was told
        } else if (event.kind == "queueModeChanged" || event.kind == "retried" || isEnd(event.kind)) {
            requested = false;
            granted = false;
        }
    }
    return requested;
}

}  // namespace quernlight::host
