#pragma once

#include "host/demo/demo_directory.hpp"
#include "host/demo/demo_environment.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Makes the sample app's repository: a bare one that git reaches as git@git.example:acme/notes.git, a
/// checkout of it with a few files, and the pull request of the bug that is in review already. Throws
/// UserError with git's words.
Task<void> makeDemoRepository(const DemoDirectory& directory, const StandInPrograms& programs);

}  // namespace quernlight::host
