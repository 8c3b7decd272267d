#include "quernlight/platform/process_table.hpp"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>

#include <libproc.h>
#include <mach-o/dyld.h>
#include <sys/fcntl.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quernlight {
namespace {

ProcessEntry entryOf(const proc_bsdinfo& info) {
    const auto pid = static_cast<pid_t>(info.pbi_pid);
    return {.pid = pid,
            .parent = static_cast<pid_t>(info.pbi_ppid),
            .session = getsid(pid),
            .startTime = std::to_string(info.pbi_start_tvsec) + "." + std::to_string(info.pbi_start_tvusec),
            .isZombie = info.pbi_status == SZOMB,
            .name = info.pbi_comm};
}

std::vector<pid_t> allPids() {
    std::vector<pid_t> pids(static_cast<std::size_t>(std::max(proc_listallpids(nullptr, 0), 0)) + 64);
    const int count = proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
    pids.resize(static_cast<std::size_t>(std::max(count, 0)));
    return pids;
}

/// What KERN_PROCARGS2 tells: the number of arguments, the program's path, NULs, then the arguments and the
/// environment, each closed by a NUL (sysctl(3)).
std::string argumentsAndEnvironment(pid_t pid) {
    int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
    std::size_t size = 0;
    if (sysctl(name, 3, nullptr, &size, nullptr, 0) != 0) {
        return {};
    }
    std::string content(size, '\0');
    if (sysctl(name, 3, content.data(), &size, nullptr, 0) != 0) {
        return {};
    }
    content.resize(size);
    return content;
}

std::string_view takeText(std::string_view& rest) {
    const auto end = std::min(rest.find('\0'), rest.size());
    const std::string_view text = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

}  // namespace

ProcessEntry processEntry(pid_t pid) {
    proc_bsdinfo info{};
    const int size = proc_pidinfo(pid, PROC_PIDTBSDINFO, 1, &info, sizeof info);  // 1: zombies too
    return size == static_cast<int>(sizeof info) ? entryOf(info) : ProcessEntry{};
}

std::vector<ProcessEntry> processTable() {
    std::vector<ProcessEntry> table;
    for (const pid_t pid : allPids()) {
        if (ProcessEntry entry = processEntry(pid); entry.pid > 0) {
            table.push_back(std::move(entry));
        }
    }
    std::sort(table.begin(), table.end(),
              [](const ProcessEntry& left, const ProcessEntry& right) { return left.pid < right.pid; });
    return table;
}

std::vector<std::string> startingEnvironmentOf(pid_t pid) {
    const std::string content = argumentsAndEnvironment(pid);
    if (content.size() < sizeof(std::int32_t)) {
        return {};
    }
    std::int32_t arguments = 0;
    std::memcpy(&arguments, content.data(), sizeof arguments);
    std::string_view rest = std::string_view(content).substr(sizeof arguments);
    takeText(rest);
    rest.remove_prefix(std::min(rest.find_first_not_of('\0'), rest.size()));
    for (; arguments > 0; --arguments) {
        takeText(rest);
    }
    std::vector<std::string> entries;
    while (!rest.empty()) {
        entries.emplace_back(takeText(rest));
    }
    return entries;
}

std::filesystem::path workingDirectoryOf(pid_t pid) {
    proc_vnodepathinfo info{};
    const int size = proc_pidinfo(pid, PROC_PIDVNODEPATHINFO, 0, &info, sizeof info);
    return size == static_cast<int>(sizeof info) ? info.pvi_cdir.vip_path : "";
}

std::vector<std::filesystem::path> filesOpenForWriting(pid_t pid) {
    const int size = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, nullptr, 0);
    std::vector<proc_fdinfo> descriptors(static_cast<std::size_t>(std::max(size, 0)) / sizeof(proc_fdinfo) +
                                         16);
    const int filled = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, descriptors.data(),
                                    static_cast<int>(descriptors.size() * sizeof(proc_fdinfo)));
    descriptors.resize(static_cast<std::size_t>(std::max(filled, 0)) / sizeof(proc_fdinfo));
    std::vector<std::filesystem::path> files;
    for (const proc_fdinfo& descriptor : descriptors) {
        vnode_fdinfowithpath file{};
        if (descriptor.proc_fdtype != PROX_FDTYPE_VNODE ||
            proc_pidfdinfo(pid, descriptor.proc_fd, PROC_PIDFDVNODEPATHINFO, &file, sizeof file) !=
                static_cast<int>(sizeof file)) {
            continue;
        }
        if ((file.pfi.fi_openflags & FWRITE) != 0) {
            files.emplace_back(file.pvip.vip_path);
        }
    }
    return files;
}

/// There is no descriptor for a process here; what can change between the look and the signal is a matter of
/// microseconds, and pids are handed out in turn.
bool signalProcess(const ProcessEntry& process, int signal) {
    return isSameProcess(processEntry(process.pid), process) && kill(process.pid, signal) == 0;
}

bool adoptOrphans() {
    return false;
}

void reapChild(pid_t pid) {
    waitpid(pid, nullptr, WNOHANG);
}

std::filesystem::path programLocation() {
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    _NSGetExecutablePath(path.data(), &size);
    return std::filesystem::canonical(path.c_str());
}

}  // namespace quernlight
