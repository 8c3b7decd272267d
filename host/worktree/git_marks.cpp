#include "host/worktree/git_marks.hpp"

#include <system_error>

#include <unistd.h>

namespace quernlight::host {
namespace {

/// What git has started leads no session of its own, unless it has made itself a daemon that serves others as
/// well (ssh's shared connection, gpg-agent).
bool isOfGit(const ProcessEntry& process) {
    return process.session != process.pid || process.name.starts_with("git");
}

/// Whether it descends from a process of this program's name.
bool isWaitedFor(const ProcessEntry& process) {
    constexpr int mostGenerations = 50;
    const std::string name = processEntry(getpid()).name;
    ProcessEntry ancestor = processEntry(process.parent);
    for (int generation = 0; generation < mostGenerations && ancestor.pid > 1; ++generation) {
        if (ancestor.name == name) {
            return true;
        }
        ancestor = processEntry(ancestor.parent);
    }
    return false;
}

Task<std::vector<ProcessEntry>> endGits(std::filesystem::path home, ProcessTree::Choice isMeant) {
    constexpr std::chrono::seconds grace{5};
    constexpr std::chrono::seconds timeout{3};
    ProcessTree gits(gitMarkOf(home), std::move(isMeant));
    co_return co_await gits.end(grace, timeout);
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
    return endGits(std::move(home), isOfGit);
}

Task<std::vector<ProcessEntry>> endAbandonedGits(std::filesystem::path home) {
    return endGits(std::move(home),
                   [](const ProcessEntry& process) { return isOfGit(process) && !isWaitedFor(process); });
}

}  // namespace quernlight::host
