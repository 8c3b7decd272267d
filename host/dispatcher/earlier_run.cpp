#include "host/dispatcher/earlier_run.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace quernlight::host {
namespace {

/// Bugs that are done, and those that no agent has begun, have met nothing that still counts.
bool mayTell(const BugQueueItem& item) {
    const bool isUnderWay = item.status == QueueItemStatus::startingCodex ||
                            item.status == QueueItemStatus::running ||
                            item.status == QueueItemStatus::codexCompleted;
    return isUnderWay || item.status == QueueItemStatus::awaitingUserInput ||
           (item.codexSessionID && !isTerminal(item.status));
}

constexpr const char* unpausedKey = "starts.unpaused_at";  // no setting: settings leave such rows alone

Instant instantIn(const std::vector<Row>& rows) {
    const std::string* text = rows.empty() ? nullptr : rows.front().at("at").asText();
    return (text ? parseInstant(*text) : std::nullopt).value_or(Instant{});
}

/// From when on no limit can have held: a person has ended it, or an agent that was started then has worked.
Task<Instant> unlimitedSince(DispatchStore store) {
    SQLValues key{SQLValue::text(unpausedKey)};
    const auto unpaused =
        co_await store.database->query("SELECT value AS at FROM settings WHERE key = ?", std::move(key));
    SQLValues state{SQLValue::text(std::string(rawValue(SessionAttemptState::completed)))};
    const auto worked = co_await store.database->query(
        "SELECT MAX(started_at) AS at FROM session_attempts WHERE state = ?", std::move(state));
    co_return std::max(instantIn(unpaused), instantIn(worked));
}

}  // namespace

Task<EarlierRun> earlierRun(DispatchStore store, std::vector<BugQueueItem> queue, Instant now) {
    EarlierRun run;
    const Instant unlimited = co_await unlimitedSince(store);
    for (const BugQueueItem& item : queue) {
        if (!mayTell(item)) {
            continue;
        }
        const std::vector<QueueEvent> history = co_await store.items.events(item.id);
        std::string question = unansweredQuestion(history);
        if (!question.empty()) {
            run.questions[item.bugID] = std::move(question);
        }
        auto limit = statedLimit(history);
        const bool holds = limit && limit->until > now && limit->toldAt > unlimited;
        if (holds && (!run.limit || limit->until > run.limit->until)) {
            run.limit = std::move(limit);
        }
    }
    co_return run;
}

Task<void> rememberUnpause(DispatchStore store, Instant at) {
    SQLValues values{SQLValue::text(unpausedKey), SQLValue::text(formatInstant(at)),
                     SQLValue::text(formatInstant(at))};
    co_await store.database->execute(
        "INSERT INTO settings (key, value, updated_at) VALUES (?, ?, ?) "
        "ON CONFLICT (key) DO UPDATE SET value = excluded.value, updated_at = excluded.updated_at",
        std::move(values));
}

OutsideFailure pauseFor(const StatedLimit& limit, Instant now) {
    return {.cause = limit.cause,
            .lasts = std::chrono::ceil<std::chrono::seconds>(limit.until - now),
            .until = limit.until,
            .stopsWork = true};
}

}  // namespace quernlight::host
