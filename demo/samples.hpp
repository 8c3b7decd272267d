#pragma once

#include <string>
#include <vector>

#include "demo/directory.hpp"
#include "demo/environment.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::demo {

/// How a bug of the demo is meant to end.
enum class ExpectedOutcome { fixed, followedUp, asked };

struct DemoBug {
    std::string id;  ///< as the backend spells it
    std::string title;
    std::string description;
    ExpectedOutcome outcome;

    std::string shortID() const;
    std::string branch() const;
};

inline constexpr const char* demoAppName = "Notes";
inline constexpr const char* demoBundleID = "com.example.notes";
inline constexpr const char* demoPullRequestURL = "https://git.example/acme/notes/pull/1";

/// One bug to fix, one in review whose reviewer wants more, one that lacks information; the oldest first.
const std::vector<DemoBug>& demoBugs();

/// The three as a seed of the stand-in backend.
std::string demoSeed();

/// Makes the sample app's repository: a bare one that git reaches as git@git.example:acme/notes.git, a
/// checkout of it with a few files, and the pull request of the bug that is in review already. Throws
/// UserError with git's words.
Task<void> makeDemoRepository(const DemoDirectory& directory, const StandInPrograms& programs);

}  // namespace quernlight::demo
