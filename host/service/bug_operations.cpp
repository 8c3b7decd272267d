#include "host/service/bug_operations.hpp"

#include <algorithm>

#include "host/service/service_error.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

void requireText(const std::string& text, const char* what) {
    if (trimmed(text).empty() || !isValidUtf8(text)) {
        throw ServiceError(ServiceErrorCode::invalid,
                           std::string("The ") + what + " is empty, or not valid UTF-8; nothing was sent.");
    }
}

}  // namespace

Task<QLCreateBugResponse> fileBug(std::shared_ptr<const QuernlightClient> client, NewBug bug) {
    requireText(bug.title, "title");
    const auto apps = co_await client->fetchApps();
    const auto app = std::ranges::find(apps, bug.bundleID, &QLAppDTO::bundleID);
    if (app == apps.end()) {
        throw ServiceError(ServiceErrorCode::notFound,
                           "The backend knows no app with the bundle identifier " + bug.bundleID + ".");
    }
    CreateBugRequest request{.title = std::move(bug.title), .description = std::move(bug.description)};
    co_return co_await client->createBug(*app, std::move(request));
}

Task<QLCommentDTO> postComment(std::shared_ptr<const QuernlightClient> client, BugComment comment) {
    requireText(comment.body, "comment");
    for (const std::filesystem::path& file : comment.attachments) {
        if (!file.is_absolute()) {
            throw ServiceError(ServiceErrorCode::invalid, "The path of an attachment, " + file.string() +
                                                              ", is not absolute; nothing was sent.");
        }
    }
    CreateCommentRequest request{.body = std::move(comment.body), .authorType = "user"};
    co_return co_await client->createComment(std::move(comment.bugID), std::move(request),
                                             std::move(comment.attachments));
}

Task<QLBugSummaryDTO> bugSummary(std::shared_ptr<const QuernlightClient> client, std::string bugID) {
    QLBugDetailResponse detail = co_await client->fetchBugDetail(std::move(bugID));
    QLBugDetailDTO& bug = detail.bug;
    co_return QLBugSummaryDTO{.id = std::move(bug.id),
                              .title = std::move(bug.title),
                              .description = std::move(bug.description),
                              .reporter = std::move(bug.reporter),
                              .appVersion = std::move(bug.appVersion),
                              .osVersion = std::move(bug.osVersion),
                              .deviceModel = std::move(bug.deviceModel),
                              .deviceName = std::move(bug.deviceName),
                              .metadata = std::move(bug.metadata),
                              .status = std::move(bug.status),
                              .prURL = std::move(bug.prURL),
                              .occurredAt = bug.occurredAt,
                              .createdAt = bug.createdAt,
                              .updatedAt = bug.updatedAt,
                              .duplicateOf = std::move(bug.duplicateOf),
                              .attachmentCount = std::ssize(detail.attachments),
                              .commentCount = std::ssize(detail.comments),
                              .appID = bug.appID,
                              .bundleID = std::move(bug.bundleID),
                              .appName = std::move(bug.appName)};
}

}  // namespace quernlight::host
