#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

// What is asked of the backend's bugs, as values. The answers are the backend's own records.

/// Which bugs are listed.
struct BugQuery {
    std::vector<std::string> statuses{"open", "investigate", "in_review"};
    int limit = 100;  ///< for each status by itself
};

/// A comment that a person makes.
struct BugComment {
    std::string bugID{};
    std::string body{};
    std::vector<std::filesystem::path> attachments{};  ///< absolute
};

/// A bug that a person files.
struct NewBug {
    std::string bundleID{};  ///< of an app that the backend knows
    std::string title{};
    std::string description{};
};

/// How the backend is reached. Throws UserError when its address or the token is not known.
using BackendAccess = std::function<Task<std::shared_ptr<const QuernlightClient>>()>;

// Each throws what the client throws, and ServiceError.

Task<QLCreateBugResponse> fileBug(std::shared_ptr<const QuernlightClient> client, NewBug bug);
Task<QLCommentDTO> postComment(std::shared_ptr<const QuernlightClient> client, BugComment comment);

/// The bug as lists show it, which is what is enqueued.
Task<QLBugSummaryDTO> bugSummary(std::shared_ptr<const QuernlightClient> client, std::string bugID);

}  // namespace quernlight::host
