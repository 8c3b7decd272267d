#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::standin {

// What the stand-in backend keeps. It has records of its own, not the client's, so that a key that the client
// reads wrongly cannot be written wrongly in the same way.

struct App {
    Uuid id{};
    std::string bundleID;
    std::string name;

    bool operator==(const App&) const = default;
};

struct Attachment {
    Uuid id{};
    std::string filename;
    std::string contentType = "application/octet-stream";
    std::int64_t sizeBytes = 0;
    std::optional<std::string> content;  ///< the bytes, when they are few enough to be kept
    Instant createdAt{};

    bool operator==(const Attachment&) const = default;
};

struct Comment {
    Uuid id{};
    std::string body;
    std::optional<std::string> authorType;
    boost::json::value metadata;  ///< an object, or null when none was posted
    std::vector<Attachment> attachments;
    Instant createdAt{};
    Instant updatedAt{};

    bool operator==(const Comment&) const = default;
};

struct Bug {
    std::string id;  ///< in full; requests name the bug by `shortID`
    Uuid appID{};
    std::string title;
    std::optional<std::string> description;
    std::optional<std::string> reporter;
    std::optional<std::string> appVersion;
    std::optional<std::string> osVersion;
    std::optional<std::string> deviceModel;
    std::optional<std::string> deviceName;
    boost::json::object metadata;
    std::optional<std::string> logKey;
    std::optional<std::string> logs;
    std::string status = "open";
    std::optional<Url> prURL;
    Instant occurredAt{};
    Instant createdAt{};
    Instant updatedAt{};
    std::optional<std::string> duplicateOf;
    std::vector<Attachment> attachments;  ///< of the report itself; a comment has its own
    std::vector<Comment> comments;        ///< in the order they came

    bool operator==(const Bug&) const = default;
};

/// The first 8 characters of a bug's id in lower case, which is how every path names it.
std::string shortID(std::string_view bugID);

/// An attachment with these bytes. They are kept only up to 64 KiB, which is enough to compare a test's file
/// and keeps the state file small.
Attachment makeAttachment(std::string filename, std::string contentType, std::string content, Instant now);

}  // namespace quernlight::standin
