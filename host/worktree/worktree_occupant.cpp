#include "host/worktree/worktree_occupant.hpp"

#include <algorithm>
#include <string>
#include <system_error>

#include <unistd.h>

namespace quernlight::host {
namespace {

bool isWithin(const std::filesystem::path& path, const std::string& place) {
    return path == place || path.string().starts_with(place + "/");
}

bool writesWithin(pid_t pid, const std::string& place) {
    return pid != getpid() && std::ranges::any_of(filesOpenForWriting(pid), [&place](const auto& file) {
               return isWithin(file, place);
           });
}

}  // namespace

std::optional<ProcessEntry> processIn(const std::filesystem::path& directory,
                                      const std::vector<ProcessEntry>& table) {
    std::error_code error;
    const std::string place = std::filesystem::canonical(directory, error).string();
    if (error) {
        return std::nullopt;
    }
    const auto found = std::ranges::find_if(table, [&](const ProcessEntry& process) {
        return isWithin(workingDirectoryOf(process.pid), place) || writesWithin(process.pid, place);
    });
    return found == table.end() ? std::nullopt : std::optional(*found);
}

}  // namespace quernlight::host
