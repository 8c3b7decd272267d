#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "host/service/dispatch_service.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

/// The home, and how the backend is reached where no dispatcher runs that could ask it.
struct BackendChoice {
    ChosenHome home{};
    std::optional<std::string> backend{};              ///< its address; absent: the setting
    std::optional<std::filesystem::path> tokenFile{};  ///< absent: see tokenSource
};

/// --home, --backend and --token-file.
void addBackendOptions(CLI::App& app, BackendChoice& choice);

/// The service, which asks the backend by itself where no dispatcher runs for the home. Core dumps are off
/// then.
std::unique_ptr<DispatchService> serviceWithBackend(const BackendChoice& choice);

}  // namespace quernlight::host
