#include "host/service/bug_operations_json.hpp"

#include "host/service/json_fields.hpp"

namespace quernlight::host {

namespace json = boost::json;

json::object jsonOf(const BugComment& comment) {
    return {{"body", jsonText(comment.body)},
            {"attachments", jsonArray(comment.attachments, [](const std::filesystem::path& file) {
                 return jsonText(file.native());
             })}};
}

BugComment readBugComment(std::string bugID, const json::value& value) {
    const JsonFields fields(value);
    BugComment comment{.bugID = std::move(bugID), .body = fields.text("body")};
    if (!fields.value("attachments").is_null()) {
        for (const std::string& file : fields.texts("attachments")) {
            comment.attachments.emplace_back(file);
        }
    }
    return comment;
}

json::object jsonOf(const NewBug& bug) {
    return {{"bundle", jsonText(bug.bundleID)},
            {"title", jsonText(bug.title)},
            {"description", jsonText(bug.description)}};
}

NewBug readNewBug(const json::value& value) {
    const JsonFields fields(value);
    return {.bundleID = fields.text("bundle"),
            .title = fields.text("title"),
            .description = fields.optionalText("description").value_or("")};
}

json::object jsonOf(const QLCreateBugResponse& filed) {
    return {{"id", jsonText(filed.id)},
            {"created_at", formatInstant(filed.createdAt)},
            {"app_id", upperCaseText(filed.appID)},
            {"bundle_id", jsonText(filed.bundleID)},
            {"attachments_count", filed.attachmentsCount}};
}

}  // namespace quernlight::host
