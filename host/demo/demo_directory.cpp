#include "host/demo/demo_directory.hpp"

#include <cstdlib>
#include <string>
#include <system_error>

#include "host/user_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

fs::path makeTemporary() {
    std::error_code error;
    std::string name = (fs::temp_directory_path(error) / "quernlight-demo-XXXXXX").string();
    if (error || !mkdtemp(name.data())) {
        throw UserError(
            "No temporary directory can be made for the demo; choose a place for it with --home DIR.");
    }
    return fs::canonical(name);
}

fs::path makeChosen(const fs::path& chosen) {
    std::error_code error;
    fs::create_directories(chosen, error);
    const bool usable = !error && fs::is_directory(chosen, error) && fs::is_empty(chosen, error) && !error;
    if (!usable) {
        throw UserError("The demo needs a new or empty directory, which " + chosen.string() +
                        " is not; choose another with --home DIR.");
    }
    return fs::canonical(chosen);
}

}  // namespace

DemoDirectory::DemoDirectory(const std::optional<fs::path>& chosen, bool keep)
    : root_(chosen ? makeChosen(*chosen) : makeTemporary()), keep_(keep) {
    for (const fs::path& directory : {userHome(), codexHome(), dispatchHome(), remotes()}) {
        fs::create_directories(directory);
    }
}

DemoDirectory::~DemoDirectory() {
    if (!keep_) {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
}

}  // namespace quernlight::host
