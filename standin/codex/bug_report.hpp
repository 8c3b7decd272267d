#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "standin/codex/goal.hpp"

namespace quernlight::standin::codex {

/// What the agent needs to know of a bug.
struct BugReport {
    std::string title;
    std::string description;
    std::string prURL;   ///< empty: none yet
    std::string answer;  ///< a user's last comment; empty: none

    bool operator==(const BugReport&) const = default;
};

/// A comment that reports to whoever started the session: `status` is "in_review" or "investigate".
struct Report {
    std::string body;
    std::string status;
    std::string prURL;  ///< empty: none
};

/// Reads the answer to GET /v1/bugs/{id}; nothing when it is no such answer.
std::optional<BugReport> parseBugReport(std::string_view json);

/// Whether a person would have to ask before working on the bug.
bool lacksInformation(const BugReport& bug);

/// The JSON body of the comment, with the goal's identifiers as its metadata.
std::string commentBody(const Goal& goal, const Report& report);

/// The JSON body of a change of status.
std::string statusBody(std::string_view status);

}  // namespace quernlight::standin::codex
