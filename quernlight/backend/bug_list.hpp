#pragma once

#include <vector>

#include "quernlight/backend/records.hpp"

namespace quernlight {

/// One list of the bugs of several, newest first. Of bugs with the same short id the first one is kept; bugs
/// created at the same instant stay in the order in which they came.
std::vector<QLBugSummaryDTO> mergedBugs(std::vector<std::vector<QLBugSummaryDTO>> lists);

}  // namespace quernlight
