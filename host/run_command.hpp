#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace quernlight::host {

struct RunOptions {
    std::string backend;
    std::filesystem::path tokenFile;
    std::optional<std::filesystem::path> home;
    int maxSessions = 2;
    double idleTimeoutSeconds = 1800;
    double exitGraceSeconds = 120;
    bool once = false;
    bool dryRun = false;
};

/// `quernlight-dispatch run`: moves the backend's bugs along until it is stopped, or with `once` until
/// nothing is left to do. Returns the program's exit status. Throws UserError.
int runCommand(const RunOptions& options);

}  // namespace quernlight::host
