#include "standin/codex/goal_log.hpp"

#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::standin::codex {

void logGoal(const std::filesystem::path& home, const Goal& goal) {
    const std::string path = (home / "goals.log").string();
    const std::string line = goal.sessionID + " " + goal.queueItemID + "\n";
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    // One write at the end of the file, so that it stays a line whoever else writes.
    if (write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("The file " + path + " cannot be written.");
    }
}

}  // namespace quernlight::standin::codex
