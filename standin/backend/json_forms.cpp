#include "standin/backend/json_forms.hpp"

#include "standin/backend/json_text.hpp"

namespace quernlight::standin {
namespace {

namespace json = boost::json;

json::value orNull(const std::optional<std::string>& text) {
    return text ? json::value(*text) : json::value(nullptr);
}

json::value orNull(const std::optional<Url>& url) {
    return url ? json::value(url->text()) : json::value(nullptr);
}

std::string_view kindOf(const Attachment& attachment) {
    if (attachment.contentType.starts_with("image/")) {
        return "image";
    }
    return attachment.contentType.starts_with("video/") ? "video" : "file";
}

json::object attachmentForm(const Bug& bug, const Comment* comment, const Attachment& attachment) {
    return {{"id", upperCaseText(attachment.id)},
            {"bug_id", bug.id},
            {"comment_id", comment ? json::value(upperCaseText(comment->id)) : json::value(nullptr)},
            {"filename", attachment.filename},
            {"content_type", attachment.contentType},
            {"size_bytes", attachment.sizeBytes},
            {"kind", kindOf(attachment)},
            {"created_at", formatInstant(attachment.createdAt)},
            {"download_url", nullptr}};
}

json::array attachmentForms(const Bug& bug, const Comment* comment) {
    json::array forms;
    for (const Attachment& attachment : comment ? comment->attachments : bug.attachments) {
        forms.push_back(attachmentForm(bug, comment, attachment));
    }
    return forms;
}

/// As `attachmentForms`, with what the backend keeps but does not send.
json::array keptAttachmentForms(const Bug& bug, const Comment* comment) {
    json::array forms = attachmentForms(bug, comment);
    const auto& attachments = comment ? comment->attachments : bug.attachments;
    for (std::size_t index = 0; index < attachments.size(); ++index) {
        const auto& content = attachments[index].content;
        forms[index].get_object()["content_base64"] = content ? orNull(base64(*content)) : nullptr;
    }
    return forms;
}

/// The members that a bug shows in a list and on its own.
json::object commonForm(const BugStore& store, const Bug& bug) {
    const App& app = store.appOf(bug);
    return {{"id", bug.id},
            {"app_id", upperCaseText(app.id)},
            {"title", bug.title},
            {"description", orNull(bug.description)},
            {"reporter", orNull(bug.reporter)},
            {"app_version", orNull(bug.appVersion)},
            {"os_version", orNull(bug.osVersion)},
            {"device_model", orNull(bug.deviceModel)},
            {"device_name", orNull(bug.deviceName)},
            {"metadata", bug.metadata},
            {"status", bug.status},
            {"pr_url", orNull(bug.prURL)},
            {"occurred_at", formatInstant(bug.occurredAt)},
            {"created_at", formatInstant(bug.createdAt)},
            {"updated_at", formatInstant(bug.updatedAt)},
            {"duplicate_of", orNull(bug.duplicateOf)},
            {"bundle_id", app.bundleID},
            {"app_name", app.name}};
}

json::object keptBugForm(const BugStore& store, const Bug& bug) {
    json::object form = summaryForm(store, bug);
    form["log_s3_key"] = orNull(bug.logKey);
    form["logs"] = orNull(bug.logs);
    form["attachments"] = keptAttachmentForms(bug, nullptr);
    return form;
}

json::object keptCommentForm(const Bug& bug, const Comment& comment) {
    json::object form = commentForm(bug, comment);
    form["attachments"] = keptAttachmentForms(bug, &comment);
    return form;
}

}  // namespace

json::object appForm(const BugStore& store, const App& app) {
    return {{"id", upperCaseText(app.id)},
            {"bundle_id", app.bundleID},
            {"name", app.name},
            {"open_count", store.openCount(app)}};
}

json::object summaryForm(const BugStore& store, const Bug& bug) {
    json::object form = commonForm(store, bug);
    form["attachment_count"] = bug.attachments.size();
    form["comment_count"] = bug.comments.size();
    return form;
}

json::object detailForm(const BugStore& store, const Bug& bug) {
    json::object form = commonForm(store, bug);
    form["log_s3_key"] = orNull(bug.logKey);
    return {{"bug", std::move(form)},
            {"attachments", attachmentForms(bug, nullptr)},
            {"comments", commentForms(bug)},
            {"log_url", nullptr}};
}

json::object commentForm(const Bug& bug, const Comment& comment) {
    return {{"id", upperCaseText(comment.id)},
            {"bug_id", bug.id},
            {"body", comment.body},
            {"author_type", orNull(comment.authorType)},
            {"metadata", comment.metadata},
            {"attachments", attachmentForms(bug, &comment)},
            {"created_at", formatInstant(comment.createdAt)},
            {"updated_at", formatInstant(comment.updatedAt)}};
}

json::array commentForms(const Bug& bug) {
    json::array forms;
    for (const Comment& comment : bug.comments) {
        forms.push_back(commentForm(bug, comment));
    }
    return forms;
}

json::object filedForm(const App& app, const Bug& bug) {
    return {{"id", bug.id},
            {"created_at", formatInstant(bug.createdAt)},
            {"app_id", upperCaseText(app.id)},
            {"bundle_id", app.bundleID},
            {"attachments_count", bug.attachments.size()}};
}

json::object stateForm(const BugStore& store) {
    json::array apps;
    for (const App& app : store.apps()) {
        apps.push_back(appForm(store, app));
    }
    json::array bugs;
    json::array comments;
    for (const Bug& bug : store.bugs()) {
        bugs.push_back(keptBugForm(store, bug));
        for (const Comment& comment : bug.comments) {
            comments.push_back(keptCommentForm(bug, comment));
        }
    }
    return {{"apps", std::move(apps)}, {"bugs", std::move(bugs)}, {"comments", std::move(comments)}};
}

}  // namespace quernlight::standin
