#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/doctor/finding.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// All that a start would be made of.
struct Examined {
    std::filesystem::path home{};  ///< may not be there
    Settings settings{};
    std::vector<AppMapping> mappings{};
    std::string storeTrouble{};    ///< why neither settings nor mappings could be read; empty when they could
    std::optional<Url> backend{};  ///< given in place of the setting
    std::optional<std::filesystem::path> tokenFile{};  ///< given
    EnvironmentMap environment{};                      ///< the caller's
    std::filesystem::path program{};                   ///< this one, which serves the agents' tools
    std::chrono::milliseconds agentTimeout{8000};      ///< of one question to the agent
};

/// Everything that the way of a bug needs, looked at in turn: a check that fails or takes too long is a
/// finding, and the others are made all the same. None of them changes anything. Throws only when it is
/// cancelled.
Task<Findings> examine(Examined examined);

}  // namespace quernlight::host
