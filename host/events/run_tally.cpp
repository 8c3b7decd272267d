#include "host/events/run_tally.hpp"

#include "host/events/event_kind.hpp"
#include "host/text/counted.hpp"

namespace quernlight::host {

void RunTally::handle(const DispatchEvent& event) {
    const auto* changed = std::get_if<ItemChanged>(&event);
    const auto kind = changed ? parseEventKind(changed->event.kind) : std::nullopt;
    if (kind == EventKind::startingCodex || kind == EventKind::failed) {
        worked_.insert(changed->bugID);
    }
    if (kind == EventKind::failed) {
        failed_.insert(changed->bugID);
    } else if (kind == EventKind::startingCodex || kind == EventKind::retried ||
               kind == EventKind::completed) {
        failed_.erase(changed->bugID);
    }
}

std::optional<std::string> RunTally::failureSentence() const {
    if (failed_.empty()) {
        return std::nullopt;
    }
    return "Of " + counted(static_cast<std::int64_t>(worked_.size()), "bug") + " worked on " +
           std::to_string(failed_.size()) + " failed; see why with: quernlight-dispatch queue list";
}

}  // namespace quernlight::host
