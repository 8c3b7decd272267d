#include "host/worktree/git_marks.hpp"

#include <system_error>

namespace quernlight::host {
namespace {

/// What git has started leads no session of its own, unless it has made itself a daemon that serves others as
/// well (ssh's shared connection, gpg-agent).
bool isOfGit(const ProcessEntry& process) {
    return process.session != process.pid || process.name.starts_with("git");
}

}  // namespace

/// The home may be given in several spellings.
ProcessMark gitMarkOf(const std::filesystem::path& home) {
    std::error_code error;
    const auto resolved = std::filesystem::weakly_canonical(home, error);
    return {.name = "QUERNLIGHT_DISPATCH_GIT", .value = (error ? home : resolved).string()};
}

ProcessMark newGitRunMark() {
    return {.name = "QUERNLIGHT_DISPATCH_GIT_RUN", .value = upperCaseText(randomUuid())};
}

Task<std::vector<ProcessEntry>> endOrphanedGits(std::filesystem::path home) {
    constexpr std::chrono::seconds grace{5};
    constexpr std::chrono::seconds timeout{3};
    ProcessTree gits(gitMarkOf(home), isOfGit);
    co_return co_await gits.end(grace, timeout);
}

}  // namespace quernlight::host
