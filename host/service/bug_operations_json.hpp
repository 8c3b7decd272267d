#pragma once

#include <boost/json/object.hpp>

#include "host/service/bug_operations.hpp"

namespace quernlight::host {

// What is asked of the backend's bugs, as JSON. Reading throws Misread.

/// "body" and "attachments": paths; the bug is in the path.
boost::json::object jsonOf(const BugComment& comment);
BugComment readBugComment(std::string bugID, const boost::json::value& value);

/// "bundle", "title" and "description".
boost::json::object jsonOf(const NewBug& bug);
NewBug readNewBug(const boost::json::value& value);

/// "id", "created_at", "app_id", "bundle_id" and "attachments_count".
boost::json::object jsonOf(const QLCreateBugResponse& filed);

}  // namespace quernlight::host
