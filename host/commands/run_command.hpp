#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace quernlight::host {

struct RunOptions {
    std::optional<std::string> backend;  ///< absent: the setting
    std::filesystem::path tokenFile;
    std::optional<std::filesystem::path> home;
    std::map<std::string, std::string> settings;  ///< key to text, above what is stored
    std::optional<std::string> logFile;
    bool logJson = false;
    bool once = false;
    bool dryRun = false;
};

/// `quernlight-dispatch run`: moves the backend's bugs along until it is stopped, or with `once` until
/// nothing is left to do. Returns the program's exit status. Throws UserError.
int runCommand(const RunOptions& options);

}  // namespace quernlight::host
