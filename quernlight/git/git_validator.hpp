#pragma once

#include <optional>
#include <string>

#include "quernlight/git/git_runner.hpp"

namespace quernlight {

struct GitValidationResult {
    bool isValid = false;
    std::optional<std::string>
        repositoryRoot;   ///< the top-level directory, once the path is known to have one
    std::string message;  ///< "Valid repository", or git's words on what is wrong

    bool operator==(const GitValidationResult&) const = default;
};

/// Whether a configured repository can be worked in.
struct GitValidator {
    GitValidator() = delete;

    /// Valid when `repoPath` lies in a git working tree and `baseBranch`, exactly as configured, resolves
    /// there. Never throws; runs on the awaiting coroutine's executor.
    static Task<GitValidationResult> validate(std::string repoPath, std::string baseBranch,
                                              GitRunner run = runGit);
};

}  // namespace quernlight
