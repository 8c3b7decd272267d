#include "host/events/history_look.hpp"

#include <algorithm>

#include <boost/json/parse.hpp>

namespace quernlight::host {
namespace {

namespace json = boost::json;

/// A member of the event's metadata that is a text; empty when there is none.
std::string metadataText(const QueueEvent& event, std::string_view name) {
    boost::system::error_code error;
    const json::value metadata = json::parse(event.metadataJSON.value_or(""), error);
    const json::object* object = error ? nullptr : metadata.if_object();
    const json::value* member = object ? object->if_contains(name) : nullptr;
    return member && member->is_string() ? std::string(member->get_string()) : "";
}

}  // namespace

const QueueEvent* lastEvent(const std::vector<QueueEvent>& history, EventKind kind) {
    const auto found = std::find_if(history.rbegin(), history.rend(), [kind](const QueueEvent& event) {
        return parseEventKind(event.kind) == kind;
    });
    return found == history.rend() ? nullptr : &*found;
}

std::string questionOf(const std::vector<QueueEvent>& history, SessionStage stage) {
    if (stage != SessionStage::needsReply && stage != SessionStage::needsPerson) {
        return "";
    }
    if (stage == SessionStage::needsPerson) {
        const QueueEvent* asked = lastEvent(history, EventKind::needsPerson);
        return asked ? asked->message : "";
    }
    std::string question;
    for (const QueueEvent& event : history) {
        const auto kind = parseEventKind(event.kind);
        const bool isBareFact = kind == EventKind::awaitingUserInput && question.empty();
        if (kind == EventKind::startingCodex) {
            question.clear();
        } else if (kind == EventKind::questionAsked || isBareFact) {
            question = event.message;
        }
    }
    return question;
}

bool answersQuestions(EventKind kind) {
    switch (kind) {
        case EventKind::goalAccepted:
        case EventKind::completed:
        case EventKind::failed:
        case EventKind::cancelled:
        case EventKind::retried:
        case EventKind::followUpWanted:
        case EventKind::retired:
            return true;
        default:
            return false;
    }
}

std::string unansweredQuestion(const std::vector<QueueEvent>& history) {
    std::string question;
    for (const QueueEvent& event : history) {
        const auto kind = parseEventKind(event.kind);
        if (kind == EventKind::needsPerson || kind == EventKind::awaitingUserInput) {
            question = event.message;
        } else if (kind && answersQuestions(*kind)) {
            question.clear();
        }
    }
    return question;
}

std::optional<StatedLimit> statedLimit(const std::vector<QueueEvent>& history) {
    const QueueEvent* blocked = lastEvent(history, EventKind::agentBlocked);
    const auto until = blocked ? parseInstant(metadataText(*blocked, "until")) : std::nullopt;
    return until ? std::optional(
                       StatedLimit{.until = *until, .cause = blocked->message, .toldAt = blocked->createdAt})
                 : std::nullopt;
}

std::string limitMetadata(Instant until) {
    return R"({"until":")" + formatInstant(until) + R"("})";
}

std::vector<std::string> preservedReferences(const std::vector<QueueEvent>& history) {
    std::vector<std::string> references;
    for (const QueueEvent& event : history) {
        const bool isKept = parseEventKind(event.kind) == EventKind::workPreserved;
        std::string reference = isKept ? metadataText(event, "ref") : "";
        if (!reference.empty() && std::ranges::find(references, reference) == references.end()) {
            references.push_back(std::move(reference));
        }
    }
    return references;
}

}  // namespace quernlight::host
