#include "quernlight/queue/session_attempt_record.hpp"

#include "quernlight/queue/raw_values.hpp"

namespace quernlight {
namespace {

/// In declared order.
constexpr std::array<std::string_view, allSessionAttemptStates.size()> rawValues{
    "created", "running", "completed", "failed", "exited",
};

}  // namespace

std::string_view rawValue(SessionAttemptState state) {
    return rawValues.at(static_cast<std::size_t>(state));
}

std::optional<SessionAttemptState> sessionAttemptStateFromRawValue(std::string_view text) {
    return caseOfRawValue(allSessionAttemptStates, text);
}

}  // namespace quernlight
