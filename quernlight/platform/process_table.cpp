#include "quernlight/platform/process_table.hpp"

#include <algorithm>
#include <mutex>
#include <vector>

namespace quernlight {
namespace {

/// Children belong to the whole program, whoever in it has started them, and so does this list.
struct StartedProcesses {
    std::mutex lock;
    std::vector<ProcessEntry> entries;
};

StartedProcesses& started() {
    static StartedProcesses processes;
    return processes;
}

bool isGone(const ProcessEntry& process) {
    return !isSameProcess(processEntry(process.pid), process);
}

}  // namespace

bool startedWith(pid_t pid, std::string_view assignment) {
    const auto environment = startingEnvironmentOf(pid);
    return std::ranges::find(environment, assignment) != environment.end();
}

bool isStartedHere(const ProcessEntry& process) {
    const std::lock_guard guard(started().lock);
    return std::ranges::any_of(started().entries,
                               [&](const ProcessEntry& known) { return isSameProcess(known, process); });
}

void rememberStarted(pid_t child) {
    ProcessEntry entry = processEntry(child);
    const std::lock_guard guard(started().lock);
    std::erase_if(started().entries, isGone);
    started().entries.push_back(std::move(entry));
}

}  // namespace quernlight
