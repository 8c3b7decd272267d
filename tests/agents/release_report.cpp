#include "tests/agents/release_report.hpp"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace quernlight::test {
namespace {

std::string ratio(int some, int all) {
    return std::to_string(some) + "/" + std::to_string(all);
}

/// The middle one and the longest.
std::string middleAndMost(std::vector<double> seconds) {
    if (seconds.empty()) {
        return "-";
    }
    std::sort(seconds.begin(), seconds.end());
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << seconds[seconds.size() / 2] << ", at most "
         << seconds.back();
    return text.str();
}

void addRow(std::ostringstream& text, const std::vector<std::string>& cells) {
    const int widths[] = {12, 8, 13, 12, 26, 0};
    for (std::size_t column = 0; column < cells.size(); ++column) {
        text << std::left << std::setw(widths[column]) << cells[column];
    }
    text << '\n';
}

}  // namespace

std::vector<ReleaseReport>& reports() {
    static std::vector<ReleaseReport> all;
    return all;
}

std::string table(const std::vector<ReleaseReport>& reports) {
    std::ostringstream text;
    addRow(text, {"release", "bugs", "whole goals", "taken once", "seconds until acceptance", "resumed"});
    for (const ReleaseReport& report : reports) {
        addRow(text, {report.release, ratio(report.reported, report.bugs),
                      ratio(report.wholeGoals, report.goals), ratio(report.takenOnce, report.accepted),
                      middleAndMost(report.acceptance), ratio(report.resumed, report.interrupted)});
    }
    return text.str();
}

}  // namespace quernlight::test
