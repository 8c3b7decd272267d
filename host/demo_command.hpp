#pragma once

#include <filesystem>
#include <optional>

namespace quernlight::host {

struct DemoOptions {
    std::optional<std::filesystem::path>
        home;           ///< where the demo makes everything; absent: a temporary directory
    bool keep = false;  ///< leave it there
};

/// `quernlight-dispatch demo`: three bugs run the whole road, between a stand-in backend and a scripted
/// agent on this machine. Returns 0 only if what the database, git and the backend hold afterwards is what
/// should be there. Throws UserError.
int demoCommand(const DemoOptions& options);

}  // namespace quernlight::host
