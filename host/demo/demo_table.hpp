#pragma once

#include <iosfwd>
#include <vector>

#include "host/demo/demo_checks.hpp"

namespace quernlight::host {

/// The short table at the demo's end, and below it every mistake that was found.
void printDemoTable(std::ostream& out, const std::vector<DemoFinding>& findings, bool showTranscriptPaths);

}  // namespace quernlight::host
