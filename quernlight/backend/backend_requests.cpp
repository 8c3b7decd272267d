#include "quernlight/backend/backend_requests.hpp"

#include <utility>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/multipart_form.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight {
namespace {

void setJSON(HttpRequest& request, std::string json) {
    request.headers.push_back({"Content-Type", "application/json"});
    request.body = std::move(json);
}

std::string statusBody(const std::string& status) {
    return encodedJSON(std::map<std::string, std::string>{{"status", status}});
}

/// "." and ".." are removed from a path by whoever reads it, percent-encoded or not, so that the request
/// would be about something else than a bug.
std::string bugSegment(const std::string& bugID) {
    std::string segment = BugID::normalized(bugID);
    if (segment.empty() || segment == "." || segment == "..") {
        throw BackendError::invalidURL();
    }
    return segment;
}

}  // namespace

BackendRequests::BackendRequests(const Url& baseURL, std::string adminToken)
    : baseURL_(baseURL.withoutQueryAndFragment()), adminToken_(std::move(adminToken)) {}

HttpRequest BackendRequests::apps() const {
    return authorized("GET", url({"v1", "apps"}));
}

HttpRequest BackendRequests::bugs(const std::string& status, int limit) const {
    return authorized("GET",
                      url({"v1", "bugs"}).withQuery({{"status", status}, {"limit", std::to_string(limit)}}));
}

HttpRequest BackendRequests::bugDetail(const std::string& bugID) const {
    return authorized("GET", bugURL(bugID));
}

HttpRequest BackendRequests::comments(const std::string& bugID) const {
    return authorized("GET", bugURL(bugID, {"comments"}));
}

HttpRequest BackendRequests::createBug(const QLAppDTO& app, const CreateBugRequest& bug) const {
    HttpRequest request{.method = "POST", .url = url({"v1", "bugs"})};
    request.headers = {{"x-bundle-id", app.bundleID}, {"x-app-name", app.name}};
    setJSON(request, encodedJSON(bug));
    return request;
}

HttpRequest BackendRequests::createComment(const std::string& bugID,
                                           const CreateCommentRequest& comment) const {
    return authorized("POST", bugURL(bugID, {"comments"}), encodedJSON(comment));
}

HttpRequest BackendRequests::createComment(const std::string& bugID, const CreateCommentRequest& comment,
                                           const std::vector<Attachment>& attachments,
                                           const std::string& boundary) const {
    HttpRequest request = authorized("POST", bugURL(bugID, {"comments"}));
    request.headers.push_back({"Content-Type", "multipart/form-data; boundary=" + boundary});
    request.body = multipartForm(comment, attachments, boundary);
    return request;
}

HttpRequest BackendRequests::patchStatus(const std::string& bugID, const std::string& status) const {
    return authorized("PATCH", bugURL(bugID), statusBody(status));
}

HttpRequest BackendRequests::postStatus(const std::string& bugID, const std::string& status) const {
    return authorized("POST", bugURL(bugID, {"status"}), statusBody(status));
}

HttpRequest BackendRequests::patchPRURL(const std::string& bugID, const UpdateBugPRURLRequest& update) const {
    return authorized("PATCH", bugURL(bugID), encodedJSON(update));
}

HttpRequest BackendRequests::deleteBug(const std::string& bugID) const {
    return authorized("DELETE", bugURL(bugID));
}

HttpRequest BackendRequests::deleteComment(const std::string& bugID, const Uuid& commentID) const {
    return authorized("DELETE", bugURL(bugID, {"comments", upperCaseText(commentID)}));
}

Url BackendRequests::bugURL(const std::string& bugID, std::vector<std::string> rest) const {
    std::vector<std::string> segments{"v1", "bugs", bugSegment(bugID)};
    segments.insert(segments.end(), rest.begin(), rest.end());
    return url(segments);
}

Url BackendRequests::url(const std::vector<std::string>& segments) const {
    const std::string scheme = baseURL_.scheme();
    if ((scheme != "https" && scheme != "http") || baseURL_.host().empty()) {
        throw BackendError::invalidURL();
    }
    return baseURL_.appendingPath(segments);
}

HttpRequest BackendRequests::authorized(std::string method, Url url) const {
    HttpRequest request{.method = std::move(method), .url = std::move(url)};
    request.headers = {{"Authorization", "Bearer " + adminToken_}};
    return request;
}

HttpRequest BackendRequests::authorized(std::string method, Url url, std::string json) const {
    HttpRequest request = authorized(std::move(method), std::move(url));
    setJSON(request, std::move(json));
    return request;
}

}  // namespace quernlight
