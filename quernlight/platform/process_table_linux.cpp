#include "quernlight/platform/process_table.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {
namespace {

/// Nothing when the process ends while its file is read: read(2) then fails with ESRCH, and `<<` makes of it
/// the stream's state, where the stream's own iterators would throw.
std::string contentOf(const std::string& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(content).str();
}

/// What proc(5) tells of a descriptor: "flags:\t0100002" among other lines, in octal.
bool isOpenForWriting(std::string_view description) {
    constexpr std::string_view flags = "flags:\t";
    const std::size_t found = description.find(flags);
    if (found == description.npos) {
        return false;
    }
    const std::string_view digits = description.substr(found + flags.size());
    unsigned opened = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), opened, 8);
    return (opened & O_ACCMODE) != O_RDONLY;
}

std::string procFile(pid_t pid, const char* name) {
    return "/proc/" + std::to_string(pid) + "/" + name;
}

/// Start times count from the boot, so the boot's own id belongs to them (proc_sys_kernel(5)).
const std::string& bootID() {
    static const std::string id = [] {
        std::string text = contentOf("/proc/sys/kernel/random/boot_id");
        text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
        return text;
    }();
    return id;
}

/// The fields after the command's name, which is in parentheses and may itself hold blanks and parentheses
/// (proc_pid_stat(5)): state, ppid, pgrp, session, ..., starttime as the 20th.
ProcessEntry parseStat(pid_t pid, const std::string& stat) {
    const auto nameBegin = stat.find('(');
    const auto nameEnd = stat.rfind(')');
    if (nameBegin == std::string::npos || nameEnd == std::string::npos || nameEnd < nameBegin) {
        return {};
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    ProcessEntry entry{.pid = pid};
    char state = 0;
    pid_t group = 0;
    fields >> state >> entry.parent >> group >> entry.session;
    std::string field;
    for (int index = 5; index <= 20 && fields >> field; ++index) {
    }
    entry.isZombie = state == 'Z' || state == 'X';
    entry.startTime = bootID() + ":" + field;
    entry.name = stat.substr(nameBegin + 1, nameEnd - nameBegin - 1);
    return fields ? entry : ProcessEntry{};
}

/// While a process takes on a new program (execve(2)) it shows neither arguments nor environment for a
/// moment. A kernel thread and a zombie, which never show any, have no program.
bool isTakingOnProgram(pid_t pid) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink(procFile(pid, "exe"), error);
    return !program.empty() && contentOf(procFile(pid, "cmdline")).empty();
}

std::string environmentOf(pid_t pid) {
    constexpr int looks = 20;
    constexpr std::chrono::microseconds pause{100};
    std::string environment = contentOf(procFile(pid, "environ"));
    for (int look = 1; look < looks && environment.empty() && isTakingOnProgram(pid); ++look) {
        std::this_thread::sleep_for(pause);
        environment = contentOf(procFile(pid, "environ"));
    }
    return environment;
}

pid_t pidNamed(const std::string& name) {
    pid_t pid = -1;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    return error == std::errc() && end == name.data() + name.size() ? pid : -1;
}

}  // namespace

ProcessEntry processEntry(pid_t pid) {
    return parseStat(pid, contentOf(procFile(pid, "stat")));
}

std::vector<ProcessEntry> processTable() {
    std::vector<ProcessEntry> table;
    std::error_code ignored;
    for (std::filesystem::directory_iterator directory("/proc", ignored), end; directory != end;
         directory.increment(ignored)) {
        if (const pid_t pid = pidNamed(directory->path().filename().string()); pid > 0) {
            if (ProcessEntry entry = processEntry(pid); entry.pid > 0) {
                table.push_back(std::move(entry));
            }
        }
    }
    std::sort(table.begin(), table.end(),
              [](const ProcessEntry& left, const ProcessEntry& right) { return left.pid < right.pid; });
    return table;
}

std::vector<std::string> startingEnvironmentOf(pid_t pid) {
    const std::string environment = environmentOf(pid);
    std::vector<std::string> entries;
    for (std::string_view rest = environment; !rest.empty();) {
        const auto end = std::min(rest.find('\0'), rest.size());
        entries.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return entries;
}

std::filesystem::path workingDirectoryOf(pid_t pid) {
    std::error_code error;
    return std::filesystem::read_symlink(procFile(pid, "cwd"), error);
}

std::vector<std::filesystem::path> filesOpenForWriting(pid_t pid) {
    std::vector<std::filesystem::path> files;
    std::error_code none;
    for (std::filesystem::directory_iterator entry(procFile(pid, "fd"), none), end; !none && entry != end;
         entry.increment(none)) {
        std::error_code gone;
        std::filesystem::path file = std::filesystem::read_symlink(entry->path(), gone);
        const std::string number = entry->path().filename().string();
        if (file.is_absolute() && isOpenForWriting(contentOf(procFile(pid, ("fdinfo/" + number).c_str())))) {
            files.push_back(std::move(file));
        }
    }
    return files;
}

/// The descriptor holds the process, so between looking at its start time and the signal it cannot become
/// another.
bool signalProcess(const ProcessEntry& process, int signal) {
    const FileDescriptor descriptor(static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0)));
    if (!descriptor || !isSameProcess(processEntry(process.pid), process)) {
        return false;
    }
    return syscall(SYS_pidfd_send_signal, descriptor.get(), signal, nullptr, 0) == 0;
}

bool adoptOrphans() {
    return prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0;
}

void reapChild(pid_t pid) {
    waitpid(pid, nullptr, WNOHANG);
}

// proc(5): a link to the executed file.
std::filesystem::path programLocation() {
    return std::filesystem::canonical("/proc/self/exe");
}

}  // namespace quernlight
