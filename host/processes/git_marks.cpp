#include "host/processes/git_marks.hpp"

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
SessionMark gitMarkOf(const std::filesystem::path& home) {
    std::error_code error;
    const auto resolved = std::filesystem::weakly_canonical(home, error);
    return {.name = "QUERNLIGHT_DISPATCH_GIT", .value = (error ? home : resolved).string()};
}

SessionMark newGitRunMark() {
    return {.name = "QUERNLIGHT_DISPATCH_GIT_RUN", .value = upperCaseText(randomUuid())};
}

Task<std::vector<ProcessEntry>> endOrphanedGits(std::filesystem::path home) {
    constexpr std::chrono::seconds grace{5};
    constexpr std::chrono::seconds patience{3};
    SessionTree gits(gitMarkOf(home), isOfGit);
    co_return co_await gits.end(grace, patience);
}

}  // namespace quernlight::host
