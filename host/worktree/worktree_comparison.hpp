#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/process/scratch_directory.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// Compares a directory that git may have been checking out when it was killed with the commit that it was
/// checking out. Git works with an index of the comparison's own, so that it needs none in the directory and
/// changes nothing there.
class WorktreeComparison {
  public:
    /// `commonDirectory`: the repository's, where its commits are. `commit`: empty when there is none.
    WorktreeComparison(std::string path, std::string commonDirectory, std::string commit, GitRunner run);

    /// What is there and is neither a file of the commit nor, where git may have been killed while it wrote,
    /// the beginning of one. Files that are missing are no difference, ignored ones are. Throws PlaceUnknown
    /// when git cannot tell.
    Task<std::vector<std::string>> differences(bool gitMayHaveBeenWriting);

  private:
    Task<std::string> git(std::vector<std::string> arguments);
    Task<std::vector<std::string>> differencesFromCommit(bool gitMayHaveBeenWriting);
    Task<std::vector<std::string>> filledSubmodules();
    Task<void> dropUnfinished(std::vector<std::string>& changed);
    bool isUnfinished(const std::filesystem::path& name) const;

    const std::string path_;
    const std::string commit_;
    const GitRunner run_;
    ScratchDirectory scratch_;
};

}  // namespace quernlight::host
