#pragma once

#include <boost/json/object.hpp>

#include "host/service/observation_operations.hpp"

namespace quernlight::host {

// What can be seen of the dispatcher's work, as other programs are shown it, and read back. Members that are
// not known are null, none is left out. Reading throws Misread.

/// "bug", "app", "title", "status", "stage", "stage_text", "detail", "exit_code", "attempt", "since",
/// "last_output_at", "last_line", "transcript", "transcript_ansi", "worktree", and "agent": null, or
/// "attempt", "pid", "since", "state", "rule" and "reason".
boost::json::object jsonOf(const RunningSession& session);
RunningSession readRunningSession(const boost::json::value& value);

/// The item, and "pull_request", "branch", "worktree" and "repository".
boost::json::object jsonOf(const ReviewItem& review);
ReviewItem readReviewItem(const boost::json::value& value);

/// "owner": null, or "pid", "version", "since", "backend", "sessions", "max_sessions", "memory_mib" and
/// "next_poll_at"; "backend" and "disk": "state" and "trouble"; "alerts"; "need_person": items.
boost::json::object jsonOf(const HealthReport& report);
HealthReport readHealthReport(const boost::json::value& value);

}  // namespace quernlight::host
