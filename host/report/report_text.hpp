#pragma once

#include <string>

#include "host/report/report.hpp"
#include "host/report/report_period.hpp"

namespace quernlight::host {

/// The report for people, in Markdown: totals, then each bug under what has become of it. Texts from outside
/// are neither markup nor act on a terminal. Pure.
std::string reportMarkdown(const Report& report, const ClockOffset& offset);

/// "45s", "12m", "1h 5m" or "2d 3h".
std::string workText(std::chrono::seconds time);

}  // namespace quernlight::host
