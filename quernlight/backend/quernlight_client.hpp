#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/attachment.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/http_session.hpp"
#include "quernlight/backend/readable_list.hpp"
#include "quernlight/backend/records.hpp"
#include "quernlight/backend/request_bodies.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

class BackendRequests;

/// The bug backend's REST interface. An immutable value without state between calls; it may be used from any
/// task at once and must live until the calls made on it have ended. Operations go on, on the executor of the
/// coroutine that awaits them, and never block it. The paths stand behind the path of `baseURL`, whose own
/// query and fragment no request carries.
///
/// Every operation throws `BackendError` (a status outside 200 to 299, no usable URL, no HTTP answer),
/// `DecodingError` (an answer that is not the expected record) or the session's `TransportError`. Nothing is
/// tried again but for the two fallbacks named below, and a read whose kept connection turns out to be dead
/// before any answer, which goes out again on another. A bug id may come in any form; its short form is
/// sent, and an id that no path can carry (empty, "." or "..") is `BackendError::invalidURL`.
class QuernlightClient {
  public:
    /// `session` must not be null. Nothing is checked before the first call.
    QuernlightClient(Url baseURL, std::string adminToken, std::shared_ptr<HttpSession> session);

    const Url& baseURL() const { return baseURL_; }
    const std::string& adminToken() const { return adminToken_; }
    const std::shared_ptr<HttpSession>& session() const { return session_; }

    Task<std::vector<QLAppDTO>> fetchApps() const;

    /// The bugs in any of `statuses`, newest first, each bug once. `limit` holds for each status by itself;
    /// the requests are made one after the other.
    Task<std::vector<QLBugSummaryDTO>> fetchBugs(std::vector<std::string> statuses, int limit) const;

    /// The bugs nobody works on yet.
    Task<std::vector<QLBugSummaryDTO>> fetchOpenBugs(int limit) const;

    /// The bugs that dispatching cares about: open, being investigated, in review.
    Task<std::vector<QLBugSummaryDTO>> fetchDispatchBugs(int limit) const;

    Task<QLBugDetailResponse> fetchBugDetail(std::string id) const;

    /// In the order in which the backend has them.
    Task<std::vector<QLCommentDTO>> fetchComments(std::string bugID) const;

    // The same for hosts that must go on when a record cannot be read: it is left out, and said which it is.

    /// The bugs in `status`, one request, in the order in which the backend has them.
    Task<ReadableList<QLBugSummaryDTO>> fetchReadableBugs(std::string status, int limit) const;
    Task<ReadableList<QLCommentDTO>> fetchReadableComments(std::string bugID) const;

    /// The link of `fetchBugDetail`, whatever else of the bug can be read.
    Task<std::optional<Url>> fetchPullRequestURL(std::string id) const;

    /// The bug with the comments of the comments endpoint; both requests run at once. Fails when either does.
    Task<QLBugDetailResponse> fetchBugDetailWithServerComments(std::string id) const;

    /// Files a bug for `app`, without the admin token. Sends no logs, unless the backend answers 400 and says
    /// "logs required": then once more with a placeholder for them. `bug.logs` is therefore ignored.
    Task<QLCreateBugResponse> createBug(QLAppDTO app, CreateBugRequest bug) const;

    /// Posts a comment; as multipart form data when there are attachments. A file that cannot be read, or
    /// whose size makes all of them more than 64 MiB together, is a `std::system_error`, before anything is
    /// sent.
    Task<QLCommentDTO> createComment(std::string bugID, CreateCommentRequest comment,
                                     std::vector<std::filesystem::path> attachments = {}) const;

    /// The same with files that have been read already.
    Task<QLCommentDTO> createCommentWith(std::vector<Attachment> attachments, std::string bugID,
                                         CreateCommentRequest comment) const;

    /// When PATCH is refused with 401 or 403, once more as POST to the bug's status.
    Task<void> updateBugStatus(std::string bugID, std::string status) const;

    /// Sets the bug's link, or clears it when there is none.
    Task<void> updateBugPRURL(std::string bugID, std::optional<Url> prURL) const;

    Task<void> deleteBug(std::string bugID) const;
    Task<void> deleteComment(std::string bugID, Uuid commentID) const;

  private:
    BackendRequests requests() const;

    Url baseURL_;
    std::string adminToken_;
    std::shared_ptr<HttpSession> session_;
};

}  // namespace quernlight
