#include "host/demo/demo_table.hpp"

#include <cstdio>
#include <ostream>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", seconds);
    return text;
}

void printRow(std::ostream& out, const std::string& bug, const std::string& outcome,
              const std::string& branch, const std::string& transcript, const std::string& seconds) {
    out << fitted(bug, 10) << fitted(outcome, 20) << fitted(branch, 18) << fitted(transcript, 14) << seconds
        << "\n";
}

}  // namespace

void printDemoTable(std::ostream& out, const std::vector<DemoFinding>& findings, bool showTranscriptPaths) {
    out << "\n";
    printRow(out, "bug", "outcome", "branch", "transcript", "seconds");
    for (const DemoFinding& finding : findings) {
        printRow(out, finding.bugID, finding.outcome, finding.branch.empty() ? "-" : finding.branch,
                 std::to_string(finding.transcriptLines) + " lines", secondsText(finding.seconds));
    }
    out << "\n";
    for (const DemoFinding& finding : findings) {
        if (showTranscriptPaths) {
            out << "transcript of " << finding.bugID << ": " << finding.transcript << "\n";
        }
        for (const std::string& mistake : finding.mistakes) {
            out << "NOT AS IT SHOULD BE: bug " << finding.bugID << ": " << mistake << "\n";
        }
    }
}

}  // namespace quernlight::host
