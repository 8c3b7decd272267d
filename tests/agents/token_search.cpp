#include "tests/agents/token_search.hpp"

#include <fstream>
#include <sstream>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::test {
namespace {

/// Empty for a process that has ended.
std::string contentOf(pid_t process, const char* name) {
    std::ostringstream content;
    content << std::ifstream("/proc/" + std::to_string(process) + "/" + name, std::ios::binary).rdbuf();
    return content.str();
}

}  // namespace

std::vector<std::string> processesThatHold(const std::string& text) {
    std::vector<std::string> found;
    for (const ProcessEntry& entry : processTable()) {
        for (const char* place : {"cmdline", "environ"}) {
            if (contentOf(entry.pid, place).find(text) != std::string::npos) {
                found.push_back(std::to_string(entry.pid) + " " + contentOf(entry.pid, "comm") + ": " +
                                place);
            }
        }
    }
    return found;
}

}  // namespace quernlight::test
