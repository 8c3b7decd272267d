#pragma once

#include <boost/json/object.hpp>

#include "host/worktree/preserved_work.hpp"

namespace quernlight::host {

// What was kept of worktrees, as docs/api/openapi.yaml describes it. What reads throws Misread.

boost::json::object jsonOf(const PreservedWork& work);
boost::json::object jsonOf(const PreservedList& list);
boost::json::object jsonOf(const PreservedDetails& details);
boost::json::object jsonOf(const RestoredWork& restored);

/// Without its name, which the path has.
boost::json::object jsonOf(const RestoreRequest& request);

/// Of the whole list, or a page of it.
PreservedList readPreservedPage(const boost::json::value& value);
PreservedDetails readPreservedDetails(const boost::json::value& value);
RestoredWork readRestoredWork(const boost::json::value& value);
RestoreRequest readRestoreRequest(std::string name, const boost::json::value& value);

}  // namespace quernlight::host
