#include "host/process/scratch_directory.hpp"

#include <cstdlib>
#include <string>
#include <system_error>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;

ScratchDirectory::ScratchDirectory() {
    std::string name = (fs::temp_directory_path() / "quernlight-scratch-XXXXXX").string();
    if (!mkdtemp(name.data())) {
        throw UserError("No temporary directory can be made in " + fs::temp_directory_path().string() +
                        "; free some disk space.");
    }
    path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

}  // namespace quernlight::host
