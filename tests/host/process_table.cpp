#include "tests/host/process_table.hpp"

#include <fstream>
#include <sstream>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::test {

bool isAlive(pid_t process) {
    const ProcessEntry entry = processEntry(process);
    return entry.pid > 0 && !entry.isZombie;
}

std::string environmentOf(pid_t process) {
    std::ostringstream content;
    content << std::ifstream("/proc/" + std::to_string(process) + "/environ", std::ios::binary).rdbuf();
    return content.str();
}

std::vector<pid_t> processesWithEnvironment(const std::string& assignment) {
    std::vector<pid_t> found;
    for (const ProcessEntry& entry : processTable()) {
        if (!entry.isZombie && startedWith(entry.pid, assignment)) {
            found.push_back(entry.pid);
        }
    }
    return found;
}

std::vector<pid_t> processesWorkingIn(const std::filesystem::path& directory) {
    std::vector<pid_t> found;
    const std::string place = std::filesystem::canonical(directory).string();
    for (const ProcessEntry& entry : processTable()) {
        if (!entry.isZombie && (workingDirectoryOf(entry.pid).string() + "/").starts_with(place + "/")) {
            found.push_back(entry.pid);
        }
    }
    return found;
}

}  // namespace quernlight::test
