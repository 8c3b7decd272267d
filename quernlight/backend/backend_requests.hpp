#pragma once

#include <string>
#include <vector>

#include "quernlight/backend/attachment.hpp"
#include "quernlight/backend/http_message.hpp"
#include "quernlight/backend/records.hpp"
#include "quernlight/backend/request_bodies.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

/// The requests that the backend understands, as values. Every one but `createBug` carries the admin token.
/// All throw `BackendError::invalidURL` when no URL can be formed: the base URL is no http or https URL with
/// a host, or the bug id's short form is one that no path can carry.
class BackendRequests {
  public:
    BackendRequests(const Url& baseURL, std::string adminToken);

    HttpRequest apps() const;
    HttpRequest bugs(const std::string& status, int limit) const;
    HttpRequest bugDetail(const std::string& bugID) const;
    HttpRequest comments(const std::string& bugID) const;
    HttpRequest createBug(const QLAppDTO& app, const CreateBugRequest& bug) const;

    /// As JSON.
    HttpRequest createComment(const std::string& bugID, const CreateCommentRequest& comment) const;

    /// As multipart form data, between lines of `boundary`.
    HttpRequest createComment(const std::string& bugID, const CreateCommentRequest& comment,
                              const std::vector<Attachment>& attachments, const std::string& boundary) const;

    HttpRequest patchStatus(const std::string& bugID, const std::string& status) const;

    /// The same for backends that refuse the PATCH.
    HttpRequest postStatus(const std::string& bugID, const std::string& status) const;

    HttpRequest patchPRURL(const std::string& bugID, const UpdateBugPRURLRequest& update) const;
    HttpRequest deleteBug(const std::string& bugID) const;
    HttpRequest deleteComment(const std::string& bugID, const Uuid& commentID) const;

  private:
    Url bugURL(const std::string& bugID, std::vector<std::string> rest = {}) const;
    Url url(const std::vector<std::string>& segments) const;
    HttpRequest authorized(std::string method, Url url) const;
    HttpRequest authorized(std::string method, Url url, std::string json) const;

    Url baseURL_;
    std::string adminToken_;
};

}  // namespace quernlight
