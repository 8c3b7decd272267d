#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/task.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight::host {

struct DispatchStore;

/// An event of the program's own in an item's history, beside those that the queue manager writes.
struct ItemEvent {
    Uuid itemID{};
    std::string kind{};
    std::string message{};  ///< one sentence for people
    std::optional<Uuid> sessionID{};
    std::optional<std::string> metadataJSON{};
};

// The kinds, as they are stored.
namespace event_kind {
inline constexpr const char* worktreeReady = "worktreeReady";
inline constexpr const char* agentStarted = "agentStarted";  ///< metadata: "pid" and "birth"
inline constexpr const char* typing = "typing";              ///< before the goal's first key
inline constexpr const char* typed = "typed";                ///< after its last Enter
inline constexpr const char* goalNotTyped = "goalNotTyped";  ///< the session ended without it
inline constexpr const char* agentExited = "agentExited";
inline constexpr const char* agentLeftovers = "agentLeftovers";  ///< processes that had to be killed
inline constexpr const char* agentSurvived = "agentSurvived";    ///< processes that could not be ended
inline constexpr const char* conversationUnknown = "conversationUnknown";  ///< metadata: "codex_session_id"
inline constexpr const char* followUpWanted = "followUpWanted";
inline constexpr const char* startRequested = "startRequested";  ///< of an item of the manual queue
inline constexpr const char* recovered = "recovered";
inline constexpr const char* workPreserved = "workPreserved";  ///< metadata: "ref" and "commit"
inline constexpr const char* retired = "retired";              ///< merged; the last event of an item
}  // namespace event_kind

/// Whether an event is the program's own, and not the queue manager's.
bool isOwnKind(std::string_view kind);

/// Writes the event with the current time. Throws DatabaseError.
Task<void> tell(const DispatchStore& store, ItemEvent event);

}  // namespace quernlight::host
