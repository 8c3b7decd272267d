#include "demo/directory.hpp"

#include <cstdlib>
#include <string>
#include <system_error>

#include "host/process/user_error.hpp"

namespace quernlight::demo {
namespace fs = std::filesystem;
namespace {

fs::path makeTemporary() {
    std::error_code error;
    std::string name = (fs::temp_directory_path(error) / "quernlight-demo-XXXXXX").string();
    if (error || !mkdtemp(name.data())) {
        throw host::UserError(
            "No temporary directory can be made for the demo; choose a place for it with --home DIR.");
    }
    return fs::canonical(name);
}

bool isEmptyDirectory(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error) && fs::is_empty(path, error) && !error;
}

}  // namespace

DemoDirectory::DemoDirectory(const std::optional<fs::path>& chosen, bool keep) : keep_(keep) {
    if (chosen) {
        useChosen(*chosen);
    } else {
        root_ = makeTemporary();
        origin_ = Origin::temporary;
    }
    for (const fs::path& directory : {userHome(), codexHome(), dispatchHome(), remotes()}) {
        fs::create_directories(directory);
    }
}

void DemoDirectory::useChosen(const fs::path& chosen) {
    std::error_code error;
    origin_ = fs::create_directories(chosen, error) ? Origin::made : Origin::found;
    if (error || !isEmptyDirectory(chosen)) {
        throw host::UserError("The demo needs a new or empty directory, which " + chosen.string() +
                              " is not; choose another with --home DIR.");
    }
    root_ = fs::canonical(chosen);
}

/// By name, for a person may put something of their own into the directory while the demo runs.
void DemoDirectory::removeWhatWasMade() const {
    std::error_code ignored;
    if (origin_ == Origin::temporary) {
        fs::remove_all(root_, ignored);
        return;
    }
    for (const fs::path& made : {userHome(), dispatchHome(), remotes(), checkout(), worktrees(),
                                 backendState(), backendSeed(), tokenFile(), agentTokenFile()}) {
        fs::remove_all(made, ignored);
    }
    if (origin_ == Origin::made) {
        fs::remove(root_, ignored);  // only when it is empty
    }
}

DemoDirectory::~DemoDirectory() {
    if (!keep_) {
        removeWhatWasMade();
    }
}

}  // namespace quernlight::demo
