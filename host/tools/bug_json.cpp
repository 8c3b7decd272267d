#include "host/tools/bug_json.hpp"

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

json::value shown(const JSONValue& value) {
    if (const auto* object = value.objectValue()) {
        json::object members;
        for (const auto& [key, member] : *object) {
            members[key] = shown(member);
        }
        return members;
    }
    if (const auto* array = value.arrayValue()) {
        json::array elements;
        for (const JSONValue& element : *array) {
            elements.push_back(shown(element));
        }
        return elements;
    }
    if (const auto text = value.stringValue()) {
        return json::string(*text);
    }
    if (const auto truth = value.boolValue()) {
        return *truth;
    }
    if (const auto integer = value.intValue()) {
        return *integer;
    }
    const auto* number = value.numberValue();
    return number ? json::value(*number) : json::value(nullptr);
}

void add(json::object& object, std::string_view key, const std::optional<std::string>& text) {
    if (text) {
        object[key] = *text;
    }
}

void add(json::object& object, std::string_view key, const std::optional<Url>& url) {
    if (url) {
        object[key] = url->text();
    }
}

/// What a bug shows in a list and on its own.
template <class Bug>
json::object shownMembers(const Bug& bug) {
    json::object object{{"id", bug.id}, {"title", bug.title}, {"status", bug.status}};
    add(object, "description", bug.description);
    add(object, "pr_url", bug.prURL);
    add(object, "reporter", bug.reporter);
    add(object, "app_version", bug.appVersion);
    add(object, "os_version", bug.osVersion);
    add(object, "device_model", bug.displayDeviceModel());
    add(object, "duplicate_of", bug.duplicateOf);
    object["app_id"] = upperCaseText(bug.appID);
    object["app_name"] = bug.appName;
    object["bundle_id"] = bug.bundleID;
    object["occurred_at"] = formatInstant(bug.occurredAt);
    object["created_at"] = formatInstant(bug.createdAt);
    object["updated_at"] = formatInstant(bug.updatedAt);
    object["metadata"] = shown(bug.metadata);
    return object;
}

json::object shownAttachment(const QLAttachmentDTO& attachment) {
    json::object object{{"id", upperCaseText(attachment.id)},
                        {"bug_id", attachment.bugID},
                        {"filename", attachment.filename},
                        {"content_type", attachment.contentType},
                        {"size_bytes", attachment.sizeBytes},
                        {"kind", attachment.kind},
                        {"created_at", formatInstant(attachment.createdAt)}};
    add(object, "download_url", attachment.downloadURL);
    return object;
}

json::array shownAttachments(const std::vector<QLAttachmentDTO>& attachments) {
    json::array array;
    for (const QLAttachmentDTO& attachment : attachments) {
        array.push_back(shownAttachment(attachment));
    }
    return array;
}

json::array shownList(const std::vector<QLCommentDTO>& comments) {
    json::array array;
    for (const QLCommentDTO& comment : comments) {
        array.push_back(shownComment(comment));
    }
    return array;
}

}  // namespace

json::object shownBug(const QLBugDetailResponse& detail) {
    json::object object{{"bug", shownMembers(detail.bug)},
                        {"attachments", shownAttachments(detail.attachments)},
                        {"comments", shownList(detail.comments)}};
    add(object, "log_url", detail.logURL);
    return object;
}

json::object shownComments(const ReadableList<QLCommentDTO>& comments) {
    json::object object{{"comments", shownList(comments.records)}};
    if (!comments.unreadable.empty()) {
        object["unreadable"] = comments.unreadable.size();
    }
    return object;
}

json::object shownComment(const QLCommentDTO& comment) {
    json::object object{{"id", upperCaseText(comment.id)}, {"bug_id", comment.bugID}, {"body", comment.body}};
    add(object, "author_type", comment.authorType);
    object["created_at"] = formatInstant(comment.createdAt);
    object["updated_at"] = formatInstant(comment.updatedAt);
    if (comment.metadata) {
        object["metadata"] = shown(*comment.metadata);
    }
    object["attachments"] = shownAttachments(comment.attachments);
    return object;
}

json::object shownBugs(const std::vector<QLBugSummaryDTO>& bugs) {
    json::array array;
    for (const QLBugSummaryDTO& bug : bugs) {
        json::object object = shownMembers(bug);
        object["comment_count"] = bug.commentCount;
        object["attachment_count"] = bug.attachmentCount;
        array.push_back(std::move(object));
    }
    return {{"bugs", std::move(array)}};
}

}  // namespace quernlight::host
