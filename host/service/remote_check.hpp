#pragma once

#include <filesystem>
#include <string>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// What keeps work in the mapping's repository from being pushed and merged, as its remote tells now, in one
/// sentence; empty when nothing does. Only reads; waits for the remote no longer than git.fetch_seconds by
/// default. Git runs as the home's own.
Task<std::string> remoteTrouble(std::filesystem::path home, AppMapping mapping);

/// The same with this git.
Task<std::string> remoteTrouble(AppMapping mapping, GitRunner git);

}  // namespace quernlight::host
