#include "standin/codex/bug_report.hpp"

#include <boost/json.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

namespace json = boost::json;

std::string textOrNothing(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    return value && value->is_string() ? std::string(value->get_string()) : std::string();
}

std::string lastUserComment(const json::object& answer) {
    std::string last;
    const json::value* comments = answer.if_contains("comments");
    if (comments && comments->is_array()) {
        for (const json::value& comment : comments->get_array()) {
            if (comment.is_object() && textOrNothing(comment.get_object(), "author_type") == "user") {
                last = textOrNothing(comment.get_object(), "body");
            }
        }
    }
    return last;
}

}  // namespace

std::optional<BugReport> parseBugReport(std::string_view text) {
    boost::system::error_code error;
    const json::value answer = json::parse(text, error);
    if (error || !answer.is_object()) {
        return std::nullopt;
    }
    const json::value* bug = answer.get_object().if_contains("bug");
    if (!bug || !bug->is_object()) {
        return std::nullopt;
    }
    const json::object& members = bug->get_object();
    return BugReport{.title = textOrNothing(members, "title"),
                     .description = textOrNothing(members, "description"),
                     .prURL = textOrNothing(members, "pr_url"),
                     .answer = lastUserComment(answer.get_object())};
}

bool lacksInformation(const BugReport& bug) {
    if (!trimmed(bug.answer).empty()) {
        return false;
    }
    const std::string description = lowercased(trimmed(bug.description));
    return description.empty() || description.find("no information") != std::string::npos ||
           description.find("lacks information") != std::string::npos;
}

std::string commentBody(const Goal& goal, const Report& report) {
    json::object comment{{"body", report.body}, {"author_type", "agent"}};
    comment["metadata"] = json::object{
        {"queue_item_id", goal.queueItemID}, {"session_id", goal.sessionID}, {"status", report.status}};
    if (!report.prURL.empty()) {
        comment["pr_url"] = report.prURL;
    }
    return json::serialize(comment);
}

std::string statusBody(std::string_view status) {
    return json::serialize(json::object{{"status", status}});
}

}  // namespace quernlight::standin::codex
