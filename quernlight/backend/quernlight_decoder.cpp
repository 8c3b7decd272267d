#include "quernlight/backend/quernlight_decoder.hpp"

#include <boost/json/monotonic_resource.hpp>

#include "quernlight/backend/exact_json.hpp"
#include "quernlight/backend/json_node.hpp"

namespace quernlight {
namespace json = boost::json;

// Not in an anonymous namespace, because the readers of arrays and keys find these by the node's namespace.

static void read(const JSONNode& node, QLAppDTO& app) {
    const RecordReader keys(node, "QLAppDTO");
    keys.required("id", app.id);
    keys.required("bundle_id", app.bundleID);
    keys.required("name", app.name);
    keys.optional("open_count", app.openCount);
}

static void read(const JSONNode& node, QLAppListResponse& response) {
    RecordReader(node, "QLAppListResponse").required("apps", response.apps);
}

/// The keys that the bug of a list and the full bug share.
template <class Bug>
static void readBug(const RecordReader& keys, Bug& bug) {
    keys.required("id", bug.id);
    keys.required("title", bug.title);
    keys.optional("description", bug.description);
    keys.optional("reporter", bug.reporter);
    keys.optional("app_version", bug.appVersion);
    keys.optional("os_version", bug.osVersion);
    keys.optional("device_model", bug.deviceModel);
    keys.optional("device_name", bug.deviceName);
    keys.required("metadata", bug.metadata);
    keys.required("status", bug.status);
    keys.optional("pr_url", bug.prURL);
    keys.required("occurred_at", bug.occurredAt);
    keys.required("created_at", bug.createdAt);
    keys.required("updated_at", bug.updatedAt);
    keys.optional("duplicate_of", bug.duplicateOf);
    keys.required("app_id", bug.appID);
    keys.required("bundle_id", bug.bundleID);
    keys.required("app_name", bug.appName);
}

static void read(const JSONNode& node, QLBugSummaryDTO& bug) {
    const RecordReader keys(node, "QLBugSummaryDTO");
    readBug(keys, bug);
    keys.required("attachment_count", bug.attachmentCount);
    keys.required("comment_count", bug.commentCount);
}

static void read(const JSONNode& node, QLBugListResponse& response) {
    RecordReader(node, "QLBugListResponse").required("bugs", response.bugs);
}

static void read(const JSONNode& node, QLBugDetailDTO& bug) {
    const RecordReader keys(node, "QLBugDetailDTO");
    readBug(keys, bug);
    keys.optional("log_s3_key", bug.logS3Key);
}

static void read(const JSONNode& node, QLAttachmentDTO& attachment) {
    const RecordReader keys(node, "QLAttachmentDTO");
    keys.required("id", attachment.id);
    keys.required("bug_id", attachment.bugID);
    keys.optional("comment_id", attachment.commentID);
    keys.required("filename", attachment.filename);
    keys.required("content_type", attachment.contentType);
    keys.required("size_bytes", attachment.sizeBytes);
    keys.required("kind", attachment.kind);
    keys.required("created_at", attachment.createdAt);
    keys.optional("download_url", attachment.downloadURL);
}

static void read(const JSONNode& node, QLCommentDTO& comment) {
    const RecordReader keys(node, "QLCommentDTO");
    keys.required("id", comment.id);
    keys.required("bug_id", comment.bugID);
    keys.required("body", comment.body);
    keys.required("created_at", comment.createdAt);
    keys.required("updated_at", comment.updatedAt);
    keys.required("attachments", comment.attachments);
    keys.optional("author_type", comment.authorType);
    keys.optional("metadata", comment.metadata);
}

static void read(const JSONNode& node, QLBugDetailResponse& response) {
    const RecordReader keys(node, "QLBugDetailResponse");
    keys.required("bug", response.bug);
    keys.required("attachments", response.attachments);
    keys.required("comments", response.comments);
    keys.optional("log_url", response.logURL);
}

static void read(const JSONNode& node, QLCommentsResponse& response) {
    RecordReader(node, "QLCommentsResponse").required("comments", response.comments);
}

static void read(const JSONNode& node, QLCreateCommentResponse& response) {
    RecordReader(node, "QLCreateCommentResponse").required("comment", response.comment);
}

static void read(const JSONNode& node, QLCreateBugResponse& response) {
    const RecordReader keys(node, "QLCreateBugResponse");
    keys.required("id", response.id);
    keys.required("created_at", response.createdAt);
    keys.required("app_id", response.appID);
    keys.required("bundle_id", response.bundleID);
    keys.required("attachments_count", response.attachmentsCount);
}

/// The id as far as it is one; nothing else of the element counts.
static std::optional<std::string> idOf(const json::value& element) {
    const json::object* object = element.if_object();
    const json::value* id = object ? object->if_contains("id") : nullptr;
    const json::string* text = id ? id->if_string() : nullptr;
    return text ? std::optional(std::string(text->data(), text->size())) : std::nullopt;
}

/// What of `path` lies below the record, without the point between them.
static std::string fieldOf(const std::string& path, std::string_view record) {
    return path.size() > record.size() ? path.substr(record.size() + 1) : "";
}

/// The elements of an array as they stand in the answer.
struct Elements {
    const json::array* values = nullptr;
};

static void read(const JSONNode& node, Elements& elements) {
    if (!node.value().is_array()) {
        node.failExpected("an array");
    }
    elements.values = &node.value().get_array();
}

/// Where a list stands, and what its elements are.
struct ListPlace {
    std::string_view answer;
    std::string_view key;
    std::string_view record;
};

/// What is said of an element does not name its place, which differs from one answer to the next.
template <class Record>
static ReadableList<Record> readable(const json::value& value, const ListPlace& place) {
    Elements elements;
    RecordReader(JSONNode(value, place.answer), place.answer).required(place.key, elements);
    ReadableList<Record> list;
    list.records.reserve(elements.values->size());
    for (const json::value& element : *elements.values) {
        Record record;
        try {
            read(JSONNode(element, place.record), record);
            list.records.push_back(std::move(record));
        } catch (const DecodingError& error) {
            list.unreadable.push_back({.id = idOf(element),
                                       .field = fieldOf(error.codingPath(), place.record),
                                       .problem = error.what()});
        }
    }
    return list;
}

/// The one key of a bug that `JSONDecoder::decodePullRequestURL` is about.
struct PullRequestOfBug {
    std::optional<Url> prURL;
};

static void read(const JSONNode& node, PullRequestOfBug& bug) {
    RecordReader(node, "QLBugDetailDTO").optional("pr_url", bug.prURL);
}

namespace {

/// An answer as it was parsed. Its many small values lie side by side and go all at once: one by one, half of
/// the time of reading a list went into their memory.
class ParsedAnswer {
  public:
    ParsedAnswer(std::string_view text, std::string_view record) {
        json::parse_options options;
        options.max_depth = 512;
        json::error_code error;
        value_ = parseExactly(text, options, error, &memory_);
        if (error) {
            throw DecodingError(DecodingError::Reason::dataCorrupted, std::string(record),
                                "The backend's answer is not valid JSON: " + error.message() + ".");
        }
    }

    const json::value& value() const { return value_; }

  private:
    json::monotonic_resource memory_{};
    json::value value_ = json::value(json::storage_ptr(&memory_));
};

template <class Record>
Record decoded(std::string_view text, std::string_view name) {
    const ParsedAnswer answer(text, name);
    Record record;
    read(JSONNode(answer.value(), name), record);
    return record;
}

}  // namespace

ReadableList<QLBugSummaryDTO> JSONDecoder::decodeReadableBugs(std::string_view json) const {
    constexpr ListPlace place{.answer = "QLBugListResponse", .key = "bugs", .record = "QLBugSummaryDTO"};
    return readable<QLBugSummaryDTO>(ParsedAnswer(json, place.answer).value(), place);
}

ReadableList<QLCommentDTO> JSONDecoder::decodeReadableComments(std::string_view json) const {
    constexpr ListPlace place{.answer = "QLCommentsResponse", .key = "comments", .record = "QLCommentDTO"};
    return readable<QLCommentDTO>(ParsedAnswer(json, place.answer).value(), place);
}

std::optional<Url> JSONDecoder::decodePullRequestURL(std::string_view json) const {
    constexpr std::string_view record = "QLBugDetailResponse";
    const ParsedAnswer answer(json, record);
    PullRequestOfBug bug;
    RecordReader(JSONNode(answer.value(), record), record).required("bug", bug);
    return bug.prURL;
}

#define QUERNLIGHT_DECODABLE(Record)                          \
    template <>                                               \
    Record JSONDecoder::decode(std::string_view json) const { \
        return decoded<Record>(json, #Record);                \
    }

QUERNLIGHT_DECODABLE(QLAppDTO)
QUERNLIGHT_DECODABLE(QLAppListResponse)
QUERNLIGHT_DECODABLE(QLBugSummaryDTO)
QUERNLIGHT_DECODABLE(QLBugListResponse)
QUERNLIGHT_DECODABLE(QLBugDetailDTO)
QUERNLIGHT_DECODABLE(QLBugDetailResponse)
QUERNLIGHT_DECODABLE(QLAttachmentDTO)
QUERNLIGHT_DECODABLE(QLCommentDTO)
QUERNLIGHT_DECODABLE(QLCommentsResponse)
QUERNLIGHT_DECODABLE(QLCreateCommentResponse)
QUERNLIGHT_DECODABLE(QLCreateBugResponse)
QUERNLIGHT_DECODABLE(JSONValue)

#undef QUERNLIGHT_DECODABLE

}  // namespace quernlight
