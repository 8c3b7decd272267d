#pragma once

#include <vector>

#include <boost/json/object.hpp>

#include "quernlight/backend/readable_list.hpp"
#include "quernlight/backend/records.hpp"

namespace quernlight::host {

// The backend's records as the tools show them to an agent: its own keys, dates in ISO 8601; a member that
// has no value is left out.

/// "bug", "attachments", "comments" and "log_url".
boost::json::object shownBug(const QLBugDetailResponse& detail);

/// "comments", and "unreadable" with how many could not be read, where there are any.
boost::json::object shownComments(const ReadableList<QLCommentDTO>& comments);

boost::json::object shownComment(const QLCommentDTO& comment);

/// "bugs".
boost::json::object shownBugs(const std::vector<QLBugSummaryDTO>& bugs);

}  // namespace quernlight::host
