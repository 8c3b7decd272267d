#include "host/start_request.hpp"

#include "host/item_event.hpp"

namespace quernlight::host {

bool startIsRequested(const std::vector<QueueEvent>& events) {
    bool requested = false;
    for (const QueueEvent& event : events) {
        if (event.kind == event_kind::startRequested) {
            requested = true;
        } else if (event.kind == "startingCodex" || event.kind == "queueModeChanged") {
            requested = false;
        }
    }
    return requested;
}

}  // namespace quernlight::host
