#include "quernlight/dispatch/completion_detector.hpp"

#include <chrono>
#include <string_view>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

constexpr std::chrono::seconds clockTolerance{5};

std::optional<std::string_view> textMember(const JSONValue::Object& object, const std::string& name) {
    const auto member = object.find(name);
    return member == object.end() ? std::nullopt : member->second.stringValue();
}

bool names(std::optional<std::string_view> text, const Uuid& id) {
    return text && lowercased(*text) == lowerCaseText(id);
}

std::optional<CompletionOutcome> outcomeOf(std::optional<std::string_view> status) {
    const std::string word = lowercased(trimmed(status.value_or("")));
    if (word == "in_review" || word == "in review") {
        return CompletionOutcome::completed;
    }
    if (word == "investigate") {
        return CompletionOutcome::investigate;
    }
    return std::nullopt;
}

/// What the comment says of this run; nothing when it does not end it.
std::optional<CompletionOutcome> outcomeOf(const QLCommentDTO& comment, const CompletionPollState& state) {
    if (comment.createdAt < state.startedAt - clockTolerance || comment.authorType != "agent") {
        return std::nullopt;
    }
    const JSONValue::Object* metadata = comment.metadata ? comment.metadata->objectValue() : nullptr;
    if (!metadata || !names(textMember(*metadata, "queue_item_id"), state.queueItemID) ||
        !names(textMember(*metadata, "session_id"), state.sessionID)) {
        return std::nullopt;
    }
    return outcomeOf(textMember(*metadata, "status"));
}

}  // namespace

std::optional<CompletionDetection> CompletionDetector::detectOutcome(
    const std::vector<QLCommentDTO>& comments, const CompletionPollState& state) {
    for (const QLCommentDTO& comment : comments) {
        if (const auto outcome = outcomeOf(comment, state)) {
            return CompletionDetection{.comment = comment, .outcome = *outcome};
        }
    }
    return std::nullopt;
}

std::optional<QLCommentDTO> CompletionDetector::detectCompletion(const std::vector<QLCommentDTO>& comments,
                                                                 const CompletionPollState& state) {
    auto detection = detectOutcome(comments, state);
    if (!detection || detection->outcome != CompletionOutcome::completed) {
        return std::nullopt;
    }
    return std::move(detection->comment);
}

}  // namespace quernlight
