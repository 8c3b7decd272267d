#include "host/session/session_log.hpp"

#include <utility>

#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

void SessionLog::show(SessionStage stage, std::string detail) {
    state_.progress.stage = stage;
    state_.progress.detail = std::move(detail);
    events_.progress(state_.progress);
}

void SessionLog::note(const std::string& sentence) {
    events_.notice("Bug " + state_.item.bugID + ": " + sentence);
}

Task<void> SessionLog::tell(EventKind kind, std::string message, std::optional<std::string> metadata) {
    ItemEvent event{.itemID = state_.item.id,
                    .kind = kind,
                    .message = std::move(message),
                    .sessionID = state_.sessionID,
                    .metadataJSON = std::move(metadata)};
    co_await appendEvent(store_.items, std::move(event));
}

Task<void> SessionLog::tellIfPossible(EventKind kind, std::string message,
                                      std::optional<std::string> metadata) {
    co_await ifPossible(tell(kind, std::move(message), std::move(metadata)));
}

Task<void> SessionLog::ifPossible(Task<void> write) {
    try {
        co_await std::move(write);
    } catch (const DatabaseError& error) {
        disk_.failed(error);
    }
}

Task<bool> SessionLog::isStillOurs() {
    const auto item = co_await store_.items.item(state_.item.id);
    co_return item && item->activeSessionID == state_.sessionID;
}

}  // namespace quernlight::host
