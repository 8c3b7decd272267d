#include "host/worktree/worktree_occupant.hpp"

#include <algorithm>
#include <string>
#include <system_error>

namespace quernlight::host {

std::optional<ProcessEntry> processIn(const std::filesystem::path& directory,
                                      const std::vector<ProcessEntry>& table) {
    std::error_code error;
    const std::string place = std::filesystem::canonical(directory, error).string();
    if (error) {
        return std::nullopt;
    }
    const auto found = std::find_if(table.begin(), table.end(), [&](const ProcessEntry& process) {
        const std::string cwd = workingDirectoryOf(process.pid).string();
        return cwd == place || cwd.starts_with(place + "/");
    });
    return found == table.end() ? std::nullopt : std::optional(*found);
}

}  // namespace quernlight::host
