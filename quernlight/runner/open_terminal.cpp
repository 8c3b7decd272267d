#include "quernlight/runner/open_terminal.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <utility>
#include <climits>

#include <fcntl.h>
#include <unistd.h>

namespace quernlight {
namespace {

void check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

void closeOnExec(const FileDescriptor& descriptor) {
    check(fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) == 0 ? 0 : errno);
}

unsigned short checkedCount(int count) {
    constexpr int largest = std::numeric_limits<unsigned short>::max();
    if (count > largest) {
        std::fprintf(stderr, "A terminal has at most %d rows and columns, not %d.\n", largest, count);
        std::abort();
    }
    return static_cast<unsigned short>(std::max(1, count));
}

}  // namespace

OpenTerminal openTerminal(const winsize& size) {
    int master = -1;
    int slave = -1;
    check(openTerminalPair(master, slave, size) == 0 ? 0 : errno);
    OpenTerminal terminal{FileDescriptor(slave), FileDescriptor(master), {}};
    closeOnExec(terminal.master);
    closeOnExec(terminal.slave);
    char device[PATH_MAX];
    check(ttyname_r(slave, device, sizeof(device)));
    terminal.device = device;
    return terminal;
}

winsize windowSize(int columns, int rows) {
    winsize size{};
    size.ws_row = checkedCount(rows);
    size.ws_col = checkedCount(columns);
    return size;
}

SpawnRequest agentSpawnRequest(const StartSessionRequest& request, TerminalStreams terminal) {
    SpawnRequest spawn;
    spawn.arguments = request.launchCommand;
    if (spawn.arguments.front().find('/') == std::string::npos) {
        spawn.arguments.insert(spawn.arguments.begin(), "/usr/bin/env");
    }
    spawn.executable = spawn.arguments.front();
    for (const auto& [key, value] : request.environment) {
        spawn.environment.push_back(key + "=" + value);
    }
    spawn.workingDirectory = request.repoPath;
    spawn.streams = std::move(terminal);
    return spawn;
}

}  // namespace quernlight
