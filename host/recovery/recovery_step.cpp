#include "host/recovery/recovery_step.hpp"

#include <boost/json/parse.hpp>

namespace quernlight::host {
namespace json = boost::json;
namespace {

std::optional<Uuid> commentNamedIn(const QueueEvent& event, const char* member) {
    boost::system::error_code error;
    const json::value metadata = json::parse(event.metadataJSON.value_or(""), error);
    const json::object* object = error ? nullptr : metadata.if_object();
    const json::value* id = object ? object->if_contains(member) : nullptr;
    return id && id->is_string() ? parseUuid(id->as_string()) : std::nullopt;
}

std::optional<AgentReport> reportIn(const QueueEvent& event) {
    const bool asks = event.kind == "awaitingUserInput";
    if (!asks && event.kind != "codexCompleted" && event.kind != "completed") {
        return std::nullopt;
    }
    const auto comment = commentNamedIn(event, asks ? "comment_id" : "completion_comment_id");
    if (!comment) {
        return std::nullopt;
    }
    return AgentReport{.commentID = *comment,
                       .createdAt = event.createdAt,
                       .outcome = asks ? CompletionOutcome::investigate : CompletionOutcome::completed};
}

std::string reasonOf(const InterruptedItem& item) {
    if (item.status == QueueItemStatus::failed && item.errorMessage) {
        return *item.errorMessage;
    }
    return item.status == QueueItemStatus::cancelled ? "Cancelled by user." : item.cause.reason;
}

}  // namespace

RecoveryStep recoveryStep(const InterruptedItem& item,
                          const std::optional<std::optional<AgentReport>>& answer) {
    const bool isLive = isReorderLocked(item.status);
    if (!isLive && !item.hasOpenAttempt) {
        return NothingToReconcile{};
    }
    const bool isWaiting = !isLive && !isTerminal(item.status);
    const bool hasReported =
        item.status == QueueItemStatus::completed || item.status == QueueItemStatus::awaitingUserInput;
    if ((hasReported || !isTerminal(item.status)) && item.storedReport) {
        return TakeReport{*item.storedReport};
    }
    if (!isLive && !isWaiting && !hasReported) {
        return CloseAttempt{.reason = reasonOf(item)};
    }
    if (item.hasOpenAttempt && !answer) {
        return AskBackend{};
    }
    if (answer && *answer) {
        return TakeReport{**answer};
    }
    if (item.status == QueueItemStatus::codexCompleted) {
        return TakeReport{AgentReport{.createdAt = item.startedAt.value_or(Instant{})}};
    }
    const ItemsEnd live = item.cause.failsItem ? ItemsEnd::fails : ItemsEnd::goesBack;
    return CloseAttempt{.reason = item.cause.reason, .item = isLive ? live : ItemsEnd::staysAsItIs};
}

std::optional<AgentReport> storedReport(const std::vector<QueueEvent>& events,
                                        const std::optional<Instant>& startedAt) {
    std::optional<AgentReport> latest;
    for (const QueueEvent& event : events) {
        const bool belongs = startedAt && event.createdAt >= *startedAt;
        const auto report = belongs ? reportIn(event) : std::nullopt;
        latest = report ? report : latest;
    }
    return latest;
}

bool isOpen(const SessionAttemptRecord& attempt) {
    return attempt.state != SessionAttemptState::completed && attempt.state != SessionAttemptState::failed;
}

}  // namespace quernlight::host
