#include "standin/codex/goal_log.hpp"

#include <fstream>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::standin::codex {
namespace {

void addLine(const std::string& path, const std::string& line) {
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    // One write at the end of the file, so that it stays a line whoever else writes.
    if (write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("The file " + path + " cannot be written.");
    }
}

}  // namespace

void logGoal(const std::filesystem::path& home, const Goal& goal) {
    addLine((home / "goals.log").string(), goal.sessionID + " " + goal.queueItemID + "\n");
}

std::size_t logStart(const std::filesystem::path& home, const std::string& bugID) {
    const std::filesystem::path path = home / "starts.log";
    std::size_t before = 0;
    std::ifstream lines(path);
    for (std::string line; std::getline(lines, line);) {
        before += line == bugID ? 1 : 0;
    }
    addLine(path.string(), bugID + "\n");
    return before;
}

}  // namespace quernlight::standin::codex
