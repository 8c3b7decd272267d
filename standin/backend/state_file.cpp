#include "standin/backend/state_file.hpp"

#include <fstream>
#include <stdexcept>
#include <system_error>

#include "standin/backend/json_forms.hpp"
#include "standin/backend/json_text.hpp"

namespace quernlight::standin {

void StateFile::update(const BugStore& store) {
    if (written_ != store.revision()) {
        replace(prettyJson(stateForm(store)));
        written_ = store.revision();
    }
}

void StateFile::replace(const std::string& content) const {
    // Beside the file, so that the rename stays within one file system.
    std::filesystem::path fresh = path_;
    fresh += ".new";
    {
        std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
        file << content << std::flush;
        if (!file) {
            throw std::runtime_error("The state file " + path_.string() + " cannot be written.");
        }
    }
    std::error_code error;
    std::filesystem::rename(fresh, path_, error);
    if (error) {
        throw std::runtime_error("The state file " + path_.string() +
                                 " cannot be replaced: " + error.message() + ".");
    }
}

}  // namespace quernlight::standin
