#pragma once

#include <optional>

#include <boost/json/object.hpp>

#include "host/agent/live_screens.hpp"
#include "host/events/dispatch_event.hpp"

namespace quernlight::host {

// A session as other programs are shown it. Members that are not known are null, none is left out. Texts are
// on one line and have kilobytes at most; a list has no more elements than a screen has lines.

/// "bug", "app", "title", "stage", "stage_text", "detail", and "agent": null, or "attempt", "pid", "since",
/// "state", and the "rule" that told the state with its "reason".
boost::json::object shownSession(const BugProgress& progress, const std::optional<LiveAgent>& agent);

/// "screen", and what is understood of it: "rules", each with what it says, "composer", "dialog",
/// "usage_limit" (empty: without a time) and "notice".
boost::json::object shownPicture(const ScreenPicture& picture);

}  // namespace quernlight::host
