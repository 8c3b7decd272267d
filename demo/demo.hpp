#pragma once

#include <filesystem>
#include <optional>

namespace quernlight::demo {

struct DemoOptions {
    std::optional<std::filesystem::path>
        home;           ///< where the demo makes everything; absent: a temporary directory
    bool keep = false;  ///< leave it there
};

/// Runs three sample bugs end to end, between a stand-in backend and a scripted agent on this machine.
/// Returns 0 only if what the database, git and the backend hold afterwards is what should be there. Throws
/// UserError.
int runDemo(const DemoOptions& options);

}  // namespace quernlight::demo
