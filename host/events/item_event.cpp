#include "host/events/item_event.hpp"

#include <algorithm>
#include <array>

#include "host/store/dispatch_store.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

bool isOwnKind(std::string_view kind) {
    using namespace event_kind;
    static constexpr std::array<std::string_view, 14> ownKinds{
        worktreeReady,       agentStarted,   typing,         typed,
        goalNotTyped,        agentExited,    agentLeftovers, agentSurvived,
        conversationUnknown, followUpWanted, startRequested, recovered,
        workPreserved,       retired};
    return std::find(ownKinds.begin(), ownKinds.end(), kind) != ownKinds.end();
}

Task<void> tell(const DispatchStore& store, ItemEvent event) {
    co_await store.items.appendEvent(event.itemID, event.kind, event.message, event.sessionID,
                                     event.metadataJSON, currentInstant());
}

}  // namespace quernlight::host
