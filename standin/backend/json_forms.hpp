#pragma once

#include <boost/json.hpp>

#include "standin/backend/bug_store.hpp"

namespace quernlight::standin {

// The JSON that the backend answers with. Keys are snake_case, dates ISO 8601 in UTC with milliseconds, UUIDs
// upper case; a member that has no value is written as null.

boost::json::object appForm(const BugStore& store, const App& app);
boost::json::object summaryForm(const BugStore& store, const Bug& bug);
/// The whole answer to a request for one bug: "bug", "attachments", "comments", "log_url".
boost::json::object detailForm(const BugStore& store, const Bug& bug);
boost::json::object commentForm(const Bug& bug, const Comment& comment);
boost::json::array commentForms(const Bug& bug);
/// The answer to filing a bug.
boost::json::object filedForm(const App& app, const Bug& bug);

/// Everything the store holds, in the shape of a seed: "apps", "bugs" (the summary's keys with "log_s3_key",
/// "logs" and "attachments") and "comments", each attachment with its bytes as "content_base64" (null when
/// they were too many to be kept).
boost::json::object stateForm(const BugStore& store);

}  // namespace quernlight::standin
