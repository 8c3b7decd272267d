#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quernlight::host {

/// How the files stand by which git finds a linked worktree's repository, gitrepository-layout(5).
enum class PointerState {
    intact,      ///< they say what git wrote for that worktree of that repository
    incomplete,  ///< one, or the directory of the others, is not there, or empty, as a killed git leaves it
    foreign,     ///< the worktree's ".git" names something else, or is a repository of its own
    altered,     ///< one of the others says something else
};

/// Git trusts the repository that these files lead it to, and runs what that one's configuration names. An
/// agent may write all of them, since it has to write beside them when it commits, so no git of ours runs in
/// a worktree unless they are intact.
struct WorktreePointers {
    PointerState state = PointerState::intact;
    std::filesystem::path file{};    ///< that is not as it should be
    bool leadsNowhere = false;       ///< it names a place where nothing is, as after a move
    std::filesystem::path place{};   ///< of the worktree, links resolved
    std::filesystem::path own{};     ///< what git keeps for the worktree alone; where intact
    std::filesystem::path common{};  ///< and for the repository
};

/// Looks at them: the worktree's ".git", then "commondir", "gitdir" and "config.worktree", which may hold
/// what git itself puts there and settings that lead it nowhere else, in the directory that it names. A path
/// may be spelled in another way (a file system may not tell upper from lower case), but not go by symbolic
/// links. The repository, as a mapping names it, is believed.
WorktreePointers pointersOf(const std::filesystem::path& repository, const std::filesystem::path& worktree);

/// What is wrong, and what mends it where that is known, as part of a sentence.
std::string describe(const WorktreePointers& pointers);

/// The directories outside of a worktree that git writes when work in it is committed; none unless its
/// pointers are intact.
std::vector<std::filesystem::path> gitDirectoriesOf(const std::filesystem::path& repository,
                                                    const std::filesystem::path& worktree);

}  // namespace quernlight::host
