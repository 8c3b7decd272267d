#include "standin/backend/seed.hpp"

#include <chrono>
#include <limits>

#include "standin/backend/json_text.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

namespace json = boost::json;

std::string entryName(std::string_view list, std::size_t index) {
    return std::string(list) + "[" + std::to_string(index) + "]";
}

std::vector<Attachment> readAttachments(const ObjectReader& owner, const std::string& ownerName,
                                        Instant created) {
    std::vector<Attachment> attachments;
    for (const json::value& entry : owner.array("attachments")) {
        const ObjectReader reader(entry, entryName(ownerName + ".attachments", attachments.size()));
        Attachment attachment;
        attachment.id = reader.optionalUuid("id").value_or(randomUuid());
        attachment.filename = reader.text("filename");
        attachment.contentType = reader.optionalText("content_type").value_or(attachment.contentType);
        attachment.sizeBytes =
            reader.optionalInteger("size_bytes", 0, std::numeric_limits<std::int64_t>::max()).value_or(0);
        attachment.createdAt = reader.optionalInstant("created_at").value_or(created);
        attachments.push_back(std::move(attachment));
    }
    return attachments;
}

void readApp(BugStore& store, const ObjectReader& reader, const std::string& name) {
    App app;
    app.id = reader.optionalUuid("id").value_or(randomUuid());
    app.bundleID = reader.text("bundle_id");
    app.name = reader.text("name");
    if (!store.addApp(std::move(app))) {
        throw InvalidInput(name + " has the id or the bundle id of an app before it.");
    }
}

const App& readAppOfBug(BugStore& store, const ObjectReader& reader) {
    if (!reader.has("bundle_id") && store.apps().size() == 1) {
        return store.apps().front();
    }
    const std::string bundleID = reader.text("bundle_id");
    return store.appFor(bundleID, reader.optionalText("app_name").value_or(bundleID));
}

void readDevice(Bug& bug, const ObjectReader& reader) {
    bug.appVersion = reader.optionalText("app_version");
    bug.osVersion = reader.optionalText("os_version");
    bug.deviceModel = reader.optionalText("device_model");
    bug.deviceName = reader.optionalText("device_name");
    bug.logKey = reader.optionalText("log_s3_key");
    bug.logs = reader.optionalText("logs");
}

void readBug(BugStore& store, const ObjectReader& reader, const std::string& name, Instant created) {
    Bug bug;
    bug.id = reader.has("id") ? reader.text("id") : lowerCaseText(randomUuid());
    bug.appID = readAppOfBug(store, reader).id;
    bug.title = reader.text("title");
    bug.description = reader.optionalText("description");
    bug.reporter = reader.optionalText("reporter");
    bug.metadata = reader.optionalObject("metadata").value_or(json::object());
    bug.status = reader.optionalText("status").value_or(bug.status);
    bug.prURL = reader.optionalUrl("pr_url");
    bug.createdAt = reader.optionalInstant("created_at").value_or(created);
    bug.occurredAt = reader.optionalInstant("occurred_at").value_or(bug.createdAt);
    bug.updatedAt = reader.optionalInstant("updated_at").value_or(bug.createdAt);
    bug.duplicateOf = reader.optionalText("duplicate_of");
    readDevice(bug, reader);
    bug.attachments = readAttachments(reader, name, bug.createdAt);
    if (!store.addBug(std::move(bug))) {
        throw InvalidInput(name + " has the same first 8 characters of its id as a bug before it.");
    }
}

void readComment(BugStore& store, const ObjectReader& reader, const std::string& name) {
    const std::string bugID = shortID(reader.text("bug_id"));
    const Bug* bug = store.findBug(bugID);
    if (!bug) {
        throw InvalidInput(name + " belongs to a bug that is not in the seed: " + bugID + ".");
    }
    Comment comment;
    comment.id = reader.optionalUuid("id").value_or(randomUuid());
    comment.body = reader.text("body");
    comment.authorType = reader.optionalText("author_type");
    if (auto metadata = reader.optionalObject("metadata")) {
        comment.metadata = std::move(*metadata);
    }
    comment.createdAt = reader.optionalInstant("created_at").value_or(bug->createdAt);
    comment.updatedAt = reader.optionalInstant("updated_at").value_or(comment.createdAt);
    comment.attachments = readAttachments(reader, name, comment.createdAt);
    store.addComment(bugID, std::move(comment));
}

}  // namespace

BugStore storeFromSeed(std::string_view text, Instant now) {
    const json::value value = parseJson(text, "The seed");
    const ObjectReader seed(value, "The seed");
    seed.refuseOthersThan({"apps", "bugs", "comments"});
    BugStore store;
    const json::array& apps = seed.array("apps");
    for (std::size_t index = 0; index < apps.size(); ++index) {
        const std::string name = entryName("apps", index);
        readApp(store, ObjectReader(apps[index], name), name);
    }
    const json::array& bugs = seed.array("bugs");
    for (std::size_t index = 0; index < bugs.size(); ++index) {
        const std::string name = entryName("bugs", index);
        const auto age = std::chrono::seconds(bugs.size() - index);
        readBug(store, ObjectReader(bugs[index], name), name, now - age);
    }
    const json::array& comments = seed.array("comments");
    for (std::size_t index = 0; index < comments.size(); ++index) {
        const std::string name = entryName("comments", index);
        readComment(store, ObjectReader(comments[index], name), name);
    }
    return store;
}

}  // namespace quernlight::standin
