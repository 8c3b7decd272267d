#include "host/agent/agent_conversations.hpp"

#include <algorithm>
#include <filesystem>

#include "host/events/item_history.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

std::optional<CodexSessionRecord> findConversation(const EnvironmentMap& environment,
                                                   const std::string& directory, Instant startedAt) {
    try {
        const auto database = CodexSessionResolver::stateDatabaseURL(environment);
        auto found = CodexSessionResolver::latest(directory, startedAt, database);
        std::error_code ignored;
        const std::string physical = std::filesystem::weakly_canonical(directory, ignored).string();
        return found || ignored || physical == directory
                   ? found
                   : CodexSessionResolver::latest(physical, startedAt, database);
    } catch (const DatabaseError&) {
        return std::nullopt;
    }
}

std::optional<Uuid> conversationToResume(const BugQueueItem& item, const std::optional<Uuid>& canonical,
                                         const std::vector<QueueEvent>& events) {
    const auto isKnown = [&](const std::optional<Uuid>& conversation) {
        return conversation && std::none_of(events.begin(), events.end(), [&](const QueueEvent& event) {
                   return isOfKind(event, EventKind::conversationUnknown) &&
                          event.metadataJSON == conversationMetadata(*conversation);
               });
    };
    if (!item.codexSessionID) {
        return std::nullopt;
    }
    return isKnown(canonical) ? canonical : isKnown(item.codexSessionID) ? item.codexSessionID : std::nullopt;
}

bool wasResumedInVain(const Uuid& conversation, const std::vector<QueueEvent>& events) {
    int inVain = 0;
    for (auto event = events.rbegin(); event != events.rend() && inVain < 2; ++event) {
        const bool isBlocked = isOfKind(*event, EventKind::agentBlocked);
        const bool isOfThis = isBlocked && event->metadataJSON == conversationMetadata(conversation);
        if (isOfKind(*event, EventKind::goalAccepted) || isBlocked != isOfThis) {
            return false;
        }
        inVain += isOfThis ? 1 : 0;
    }
    return inVain == 2;
}

std::string conversationMetadata(const Uuid& conversation) {
    return R"({"codex_session_id":")" + upperCaseText(conversation) + R"("})";
}

}  // namespace quernlight::host
