#pragma once

#include <map>
#include <optional>
#include <string>

#include "quernlight/platform/url.hpp"

namespace quernlight {

/// What `QuernlightClient::createBug` sends. Optional fields that are absent are left out.
struct CreateBugRequest {
    std::string title;
    std::string description;
    std::optional<std::string> reporter = {};  ///< who found it
    std::optional<std::map<std::string, std::string>> metadata = {};
    std::optional<std::string> logs = {};  ///< diagnostic logs as text

    bool operator==(const CreateBugRequest&) const = default;
};

/// What `QuernlightClient::createComment` sends. Optional fields that are absent are left out.
struct CreateCommentRequest {
    std::string body;
    std::optional<std::string> authorType = {};  ///< who writes, in the backend's words
    std::optional<std::map<std::string, std::string>> metadata = {};
    std::optional<Url> prURL = {};

    bool operator==(const CreateCommentRequest&) const = default;
};

/// What `QuernlightClient::updateBugPRURL` sends; an absent link is sent as null, which clears it.
struct UpdateBugPRURLRequest {
    std::optional<Url> prURL = {};

    bool operator==(const UpdateBugPRURLRequest&) const = default;
};

// The bodies as JSON text; the order of keys means nothing. What is not valid UTF-8 in a text is sent as
// U+FFFD.

std::string encodedJSON(const CreateBugRequest& request);
std::string encodedJSON(const CreateCommentRequest& request);
std::string encodedJSON(const UpdateBugPRURLRequest& request);
std::string encodedJSON(const std::map<std::string, std::string>& object);

}  // namespace quernlight
