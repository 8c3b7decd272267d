#pragma once

#include <filesystem>
#include <vector>

#include "host/process/process_tree.hpp"

namespace quernlight::host {

/// What every git that works for this dispatch home carries, with all that it starts: the gits of an owner
/// that was killed are known by it.
ProcessMark gitMarkOf(const std::filesystem::path& home);

/// What one run of git carries, with all that it starts.
ProcessMark newGitRunMark();

/// Ends the gits that an earlier owner of the home has left behind, before anything else touches their
/// repositories: they are asked to, so that they undo what they have half done, and killed if they do not.
/// Returns what is left. For an owner that runs no git yet.
Task<std::vector<ProcessEntry>> endOrphanedGits(std::filesystem::path home);

/// The same but for those that a program like this one has started and lives to wait for: a command that
/// looks at repositories owns no home, and others may look at once.
Task<std::vector<ProcessEntry>> endAbandonedGits(std::filesystem::path home);

}  // namespace quernlight::host
