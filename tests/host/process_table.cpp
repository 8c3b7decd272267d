#include "tests/host/process_table.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace quernlight::test {
namespace {

const std::filesystem::path table = "/proc";

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// 0 for an entry that is no process.
pid_t processOf(const std::filesystem::path& entry) {
    const std::string name = entry.filename();
    pid_t process = 0;
    std::from_chars(name.data(), name.data() + name.size(), process);
    return process;
}

}  // namespace

bool isAlive(pid_t process) {
    const std::string status = contentOf(table / std::to_string(process) / "stat");
    const std::size_t nameEnd = status.rfind(')');  // a name may hold anything
    return nameEnd + 2 < status.size() && status[nameEnd + 2] != 'Z' && status[nameEnd + 2] != 'X';
}

std::string environmentOf(pid_t process) {
    return contentOf(table / std::to_string(process) / "environ");
}

std::vector<pid_t> processesWithEnvironment(const std::string& text) {
    std::vector<pid_t> found;
    std::error_code ended;  // processes come and go while the table is read
    for (auto entry = std::filesystem::directory_iterator(table, ended);
         !ended && entry != std::filesystem::directory_iterator(); entry.increment(ended)) {
        const pid_t process = processOf(entry->path());
        if (process > 0 && environmentOf(process).find(text) != std::string::npos && isAlive(process)) {
            found.push_back(process);
        }
    }
    return found;
}

}  // namespace quernlight::test
