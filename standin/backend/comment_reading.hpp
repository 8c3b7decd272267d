#pragma once

#include "standin/backend/bug_store.hpp"
#include "standin/backend/http_message.hpp"

namespace quernlight::standin {

/// The JSON value of a request's body. Throws InvalidInput, also when the body is not announced as JSON.
boost::json::value jsonBody(const Request& request);

/// The comment that a request posts, as JSON or, with attachments, as multipart/form-data with the parts
/// "body", "author_type", "metadata" (a JSON object), "pr_url" and any number of "attachments".
/// Throws InvalidInput.
NewComment commentOf(const Request& request, Instant now);

}  // namespace quernlight::standin
