#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/text/table.hpp"
#include "quernlight/backend/records.hpp"

namespace quernlight::host {

// The backend's bugs for people. Nothing in these texts acts on a terminal.

Table bugTable(const std::vector<QLBugSummaryDTO>& bugs, Instant now);

/// A bug with its device, attachments and comments.
std::string bugText(const QLBugDetailResponse& detail, Instant now, std::chrono::seconds offset);

}  // namespace quernlight::host
