#pragma once

#include "host/health/outside_failure.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// The same git, of which `trouble` is kept up to date. Borrows `trouble` for as long as it is used.
GitRunner watched(GitRunner run, GitTrouble& trouble);

/// The same for git that looks at one bug's place: most of its answers, failures included, tell of that place
/// alone, so only a git that cannot be started and a repository that is none are trouble.
GitRunner watchedLook(GitRunner run, GitTrouble& trouble);

}  // namespace quernlight::host
