#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// Whether all of it is in the base branch by now, as the repository knows that.
enum class Containment { unknown, no, yes };

/// Work of a worktree that went, as preserveWork kept it.
struct PreservedWork {
    std::string name{};       ///< what people call it: the reference behind refs/quernlight/preserved/
    std::string reference{};  ///< in full
    std::string commit{};
    std::string bugID{};  ///< in short form
    std::string bundleID{};
    std::string appName{};
    std::string repository{};
    std::string base{};  ///< the reference of the base branch that it is compared with; empty: there is none
    Instant keptAt{};
    std::int64_t commits = 0;  ///< that the base does not have
    std::int64_t files = 0;    ///< changed since it left the base
    std::int64_t added = 0;    ///< lines
    std::int64_t deleted = 0;
    Containment contained = Containment::unknown;
};

struct PreservedCommit {
    std::string id{};
    Instant time{};
    std::string author{};
    std::string subject{};
};

struct PreservedFile {
    std::string path{};
    std::optional<std::int64_t> added{};  ///< lines; absent for a file that is no text
    std::optional<std::int64_t> deleted{};
};

/// With the newest of its commits and the first of its files; `work` counts all of them.
struct PreservedDetails {
    PreservedWork work{};
    std::vector<std::string> others{};  ///< names of what else is kept of the bug
    std::vector<PreservedCommit> commits{};
    std::vector<PreservedFile> files{};
};

struct PreservedList {
    std::vector<PreservedWork> works{};   ///< or a part of them
    std::size_t total = 0;                ///< how many there are
    std::vector<std::string> troubles{};  ///< one sentence for each repository that cannot be asked
};

/// Where it is to go: into a worktree, a branch, or a worktree on a branch.
struct RestoreRequest {
    std::string name{};
    std::optional<std::string> directory{};  ///< absolute; must not be there
    std::optional<std::string> branch{};     ///< must not be there
};

struct RestoredWork {
    PreservedWork work{};
    std::optional<std::string> directory{};
    std::optional<std::string> branch{};
};

/// The bug of a reference's name, "Notes-7c41e0ab-2": that before a number behind it. Pure.
std::string bugOfPreserved(std::string_view name);

/// Of what git diff --numstat prints. Pure.
std::vector<PreservedFile> readNumstat(std::string_view printed);

/// What is kept in the repository of one mapping, by name, not measured yet. Only reads. Throws UserError
/// when it cannot be asked.
Task<std::vector<PreservedWork>> preservedIn(AppMapping mapping, GitRunner git);

/// With what it holds beyond its base, and whether that has it all by now: as it stands, by commits that
/// change the same, by one commit that changes the same as all of it, or so that a merge would change
/// nothing. Writes objects that no reference names, and nothing else. Throws UserError as before.
Task<PreservedWork> measured(PreservedWork work, GitRunner git);

/// Only reads.
Task<PreservedDetails> preservedDetails(PreservedWork work, GitRunner git);

/// Overwrites nothing, and leaves the reference where it is. Throws UserError when something is in the way.
Task<RestoredWork> restorePreserved(PreservedWork work, RestoreRequest request, GitRunner git);

}  // namespace quernlight::host
