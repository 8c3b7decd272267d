#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/worktree/ignored_files.hpp"
#include "host/worktree/unsaved_files.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// What a worktree holds that would go with it.
struct UnsavedWork {
    std::string head{};         ///< its commit; empty: there is no worktree
    std::int64_t unpushed = 0;  ///< commits up to that which no remote has
    UnsavedFiles files{};
    std::vector<std::string> leftBehind{};  ///< commits without a child that no reference reaches
    IgnoredFiles ignored{};                 ///< which nobody keeps
};

/// It cannot be saved, for this reason in one sentence; the worktree must stay.
struct PreservingFailed {
    std::string reason;
};

using UnsavedWorkLook = std::variant<UnsavedWork, PreservingFailed>;

/// Finds what is to be kept of a worktree, its own index being left as it is. Objects that no reference names
/// yet are all that this writes. A worktree that holds what could not be kept must stay: a repository of its
/// own, a submodule's, patches that git is applying. Never throws but on cancellation. `ask` gives answers
/// (`GitOutput::answer`): what it prints is taken by its word.
Task<UnsavedWorkLook> findUnsavedWork(WorktreeToPreserve worktree, GitRunner ask);

/// Whether a later look has found nothing that the saving of an earlier one has not kept. Pure.
bool hasNothingNew(const UnsavedWork& later, const UnsavedWork& saved);

/// "3 changed files, 2 commits that no remote has"; without what is ignored; empty for nothing. Pure.
std::string describe(const UnsavedWork& work);

}  // namespace quernlight::host
