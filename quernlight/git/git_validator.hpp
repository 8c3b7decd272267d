#pragma once

#include <optional>
#include <string>

#include "quernlight/git/git_runner.hpp"

namespace quernlight {

/// What was found out about a configured repository.
struct GitValidationResult {
    bool isValid = false;
    /// The top-level directory as git prints it, without its warnings; absent when the path lies in no
    /// working tree.
    std::optional<std::string> repositoryRoot;
    std::string message;  ///< "Valid repository", or git's words on what is wrong

    bool operator==(const GitValidationResult&) const = default;
};

/// Whether a configured repository can be worked in.
struct GitValidator {
    GitValidator() = delete;

    /// Valid when `repoPath` lies in a git working tree and `baseBranch`, exactly as configured, resolves
    /// there. Throws nothing but cancellation and what another `run` throws; runs on the awaiting coroutine's
    /// executor.
    static Task<GitValidationResult> validate(std::string repoPath, std::string baseBranch,
                                              GitRunner run = runGit);
};

}  // namespace quernlight
