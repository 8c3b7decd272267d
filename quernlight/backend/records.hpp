#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/json_value.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

// What the backend answers, as values: copyable, comparable field by field, usable from any thread.
// `QuernlightDecoder` makes them from JSON, whose keys are the same names in snake_case.

/// One app known to the backend.
struct QLAppDTO {
    Uuid id{};
    std::string bundleID;
    std::string name;
    std::optional<std::int64_t> openCount = {};

    bool operator==(const QLAppDTO&) const = default;
};

struct QLAppListResponse {
    std::vector<QLAppDTO> apps;

    bool operator==(const QLAppListResponse&) const = default;
};

/// One bug in a list; also what is enqueued.
struct QLBugSummaryDTO {
    std::string id;  // as the backend spells it; `BugID::normalized` makes the short form
    std::string title;
    std::optional<std::string> description = {};
    std::optional<std::string> reporter = {};
    std::optional<std::string> appVersion = {};
    std::optional<std::string> osVersion = {};
    std::optional<std::string> deviceModel = {};
    std::optional<std::string> deviceName = {};
    JSONValue metadata;
    std::string status;  // the backend's own word, such as "investigate" or "in_review"
    std::optional<Url> prURL = {};
    Instant occurredAt;
    Instant createdAt;
    Instant updatedAt;
    std::optional<std::string> duplicateOf = {};
    std::int64_t attachmentCount = 0;
    std::int64_t commentCount = 0;
    Uuid appID{};
    std::string bundleID;
    std::string appName;

    /// The device in words for people; nothing when neither model nor name is known.
    std::optional<std::string> displayDeviceModel() const;

    bool operator==(const QLBugSummaryDTO&) const = default;
};

struct QLBugListResponse {
    std::vector<QLBugSummaryDTO> bugs;

    bool operator==(const QLBugListResponse&) const = default;
};

/// The full bug.
struct QLBugDetailDTO {
    std::string id;
    Uuid appID{};
    std::string title;
    std::optional<std::string> description = {};
    std::optional<std::string> reporter = {};
    std::optional<std::string> appVersion = {};
    std::optional<std::string> osVersion = {};
    std::optional<std::string> deviceModel = {};
    std::optional<std::string> deviceName = {};
    JSONValue metadata;
    std::optional<std::string> logS3Key = {};  // where the uploaded log bundle is stored
    std::string status;
    std::optional<Url> prURL = {};
    Instant occurredAt;
    Instant createdAt;
    Instant updatedAt;
    std::optional<std::string> duplicateOf = {};
    std::string bundleID;
    std::string appName;

    /// As for `QLBugSummaryDTO`.
    std::optional<std::string> displayDeviceModel() const;

    bool operator==(const QLBugDetailDTO&) const = default;
};

struct QLAttachmentDTO {
    Uuid id{};
    std::string bugID;
    std::optional<Uuid> commentID = {};  // absent for attachments of the bug itself
    std::string filename;
    std::string contentType;
    std::int64_t sizeBytes = 0;
    std::string kind;
    Instant createdAt;
    std::optional<Url> downloadURL = {};

    bool operator==(const QLAttachmentDTO&) const = default;
};

/// One comment on a bug; the agent's completion is announced in one.
struct QLCommentDTO {
    Uuid id{};
    std::string bugID;
    std::string body;
    Instant createdAt;
    Instant updatedAt;
    std::vector<QLAttachmentDTO> attachments;
    std::optional<std::string> authorType = {};
    std::optional<JSONValue> metadata = {};

    bool operator==(const QLCommentDTO&) const = default;
};

struct QLBugDetailResponse {
    QLBugDetailDTO bug;
    std::vector<QLAttachmentDTO> attachments;
    std::vector<QLCommentDTO> comments;
    std::optional<Url> logURL = {};

    bool operator==(const QLBugDetailResponse&) const = default;
};

struct QLCommentsResponse {
    std::vector<QLCommentDTO> comments;

    bool operator==(const QLCommentsResponse&) const = default;
};

struct QLCreateCommentResponse {
    QLCommentDTO comment;

    bool operator==(const QLCreateCommentResponse&) const = default;
};

/// The answer to filing a bug. It counts in "attachments_count" where the list says "attachment_count".
struct QLCreateBugResponse {
    std::string id;
    Instant createdAt;
    Uuid appID{};
    std::string bundleID;
    std::int64_t attachmentsCount = 0;

    bool operator==(const QLCreateBugResponse&) const = default;
};

/// One list of the bugs of several, newest first. Of bugs with the same short id the first one is kept; bugs
/// created at the same instant stay in the order in which they came.
std::vector<QLBugSummaryDTO> mergedBugs(std::vector<std::vector<QLBugSummaryDTO>> lists);

}  // namespace quernlight
