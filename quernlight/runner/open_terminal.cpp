#include "quernlight/runner/open_terminal.hpp"

#include <cerrno>
#include <system_error>
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

}  // namespace quernlight
