#include "host/doctor/repository_checks.hpp"

#include <cstdio>
#include <utility>

#include <unistd.h>

#include "host/doctor/home_checks.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "quernlight/git/repository_git.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Version = std::pair<int, int>;

constexpr Version oldestForWorktrees{2, 36};
constexpr Version oldestForMerges{2, 38};

std::string nameOf(const AppMapping& mapping) {
    return "app " + mapping.appName;
}

/// Why the mapping would not be taken now; empty when it would.
Task<std::string> refusalOf(std::filesystem::path home, AppMapping mapping) {
    MappingRequest request{.bundleID = mapping.bundleID,
                           .appName = mapping.appName,
                           .repository = mapping.repoPath,
                           .baseBranch = mapping.baseBranch,
                           .worktrees = mapping.worktreeRootPath};
    try {
        co_await checkedMapping(std::move(home), std::move(request));
    } catch (const ServiceError& error) {
        co_return failureSentence(error);
    }
    co_return "";
}

Task<std::string> remoteOf(std::filesystem::path home, std::string repository) {
    const GitRunner git = limitedGit(gitMarkOf(home), GitOutput::answer);
    const RepositoryGit place(git, std::move(repository));
    co_return co_await place.preferredRemote();
}

Task<Findings> checkMapping(const Examined& examined, AppMapping mapping) {
    const std::string name = nameOf(mapping);
    const std::string refusal = co_await refusalOf(examined.home, mapping);
    if (!refusal.empty()) {
        const Finding refused{.check = name,
                              .verdict = Verdict::stops,
                              .seen = refusal,
                              .advice = "Map it anew: quernlight-dispatch map set --help"};
        co_return only(refused);
    }
    Findings findings;
    const std::string remote = co_await remoteOf(examined.home, mapping.repoPath);
    const std::filesystem::path worktrees = mapping.resolvedWorktreeRootPath();
    if (remote.empty()) {
        findings.push_back({.check = name,
                            .verdict = Verdict::warning,
                            .seen = mapping.repoPath + " has no remote, so that no agent can push its work.",
                            .advice = "Add one: git -C DIR remote add origin URL"});
    }
    if (access(nearestDirectory(worktrees).c_str(), W_OK | X_OK) != 0) {
        findings.push_back(
            {.check = name,
             .verdict = Verdict::stops,
             .seen = "The directory for worktrees " + worktrees.string() + " cannot be written.",
             .advice = "Check its permissions, or name another: map set --worktrees DIR"});
    }
    if (const auto around = sandboxWritableAround(mapping.repoPath, examined.environment)) {
        findings.push_back(writableBySandbox(name, mapping.repoPath, *around));
    }
    if (findings.empty()) {
        findings.push_back(
            {.check = name,
             .seen = mapping.repoPath + ", branch " + mapping.baseBranch + ", remote " + remote + "."});
    }
    co_return findings;
}

}  // namespace

Finding gitFinding(const GitCommandResult& answer) {
    Version version;
    const bool isKnown = answer.status == 0 && std::sscanf(answer.output.c_str(), "git version %d.%d",
                                                           &version.first, &version.second) == 2;
    const std::string said(trimmed(answer.output));
    if (!isKnown) {
        return {.check = "git",
                .verdict = Verdict::stops,
                .seen = "/usr/bin/git cannot be used: " + said,
                .advice = "Install git 2.38 or later."};
    }
    if (version < oldestForWorktrees) {
        return {.check = "git",
                .verdict = Verdict::stops,
                .seen = said + " is too old: it does not list worktrees as this program reads them (2.36).",
                .advice = "Install git 2.38 or later."};
    }
    if (version < oldestForMerges) {
        return {.check = "git",
                .verdict = Verdict::warning,
                .seen = said + " cannot tell whether squashed work is merged (2.38).",
                .advice = "Install git 2.38 or later."};
    }
    return {.check = "git", .seen = said + "."};
}

Task<Findings> checkGit(const Examined& examined) {
    const GitRunner git = limitedGit(gitMarkOf(examined.home), GitOutput::answer);
    std::vector<std::string> ask{"--version"};
    const GitCommandResult answer = co_await git(std::move(ask));
    co_return only(gitFinding(answer));
}

Task<Findings> checkMappings(const Examined& examined) {
    Findings all;
    if (examined.mappings.empty()) {
        all.push_back({.check = "mappings",
                       .verdict = Verdict::stops,
                       .seen = "No app is mapped to a repository, so every bug waits.",
                       .advice = "Map one: quernlight-dispatch map set --help"});
    }
    for (const AppMapping& mapping : examined.mappings) {
        const Findings found = co_await checkMapping(examined, mapping);
        all.insert(all.end(), found.begin(), found.end());
    }
    co_return all;
}

}  // namespace quernlight::host
