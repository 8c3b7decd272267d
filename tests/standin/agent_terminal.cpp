#include "tests/standin/agent_terminal.hpp"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/platform/spawn.hpp"

namespace quernlight::standin::test {
namespace {

constexpr int generousMilliseconds = 60'000;

}  // namespace

AgentTerminal::AgentTerminal(const Launch& launch) : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    SpawnRequest request{
        .executable = launch.executable,
        .arguments = launch.arguments,
        .environment = launch.environment,
        .workingDirectory = launch.directory,
        .streams = TerminalStreams{.device = ptsname(master_.get()), .masterDescriptor = master_.get()}};
    request.arguments.insert(request.arguments.begin(), launch.executable);
    child_ = spawnProcess(request);
}

AgentTerminal::~AgentTerminal() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

bool AgentTerminal::sees(const std::string& text) {
    while (true) {
        const std::size_t found = output_.find(text, seen_);
        if (found != std::string::npos) {
            seen_ = found + text.size();
            return true;
        }
        // What is left of the text's beginning may be completed by the next read.
        const std::size_t kept = std::min(output_.size() - seen_, text.size() - 1);
        seen_ = output_.size() - kept;
        if (!readMore()) {
            return false;
        }
    }
}

bool AgentTerminal::readMore() {
    pollfd readable{.fd = master_.get(), .events = POLLIN, .revents = 0};
    char bytes[65536];
    if (poll(&readable, 1, generousMilliseconds) <= 0) {
        return false;
    }
    const ssize_t count = read(master_.get(), bytes, sizeof bytes);
    if (count > 0) {
        output_.append(bytes, static_cast<std::size_t>(count));
    }
    return count > 0;
}

void AgentTerminal::type(const std::string& bytes) {
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t count = write(master_.get(), bytes.data() + written, bytes.size() - written);
        if (count <= 0) {
            throw std::runtime_error("the terminal takes no keys");
        }
        written += static_cast<std::size_t>(count);
    }
}

void AgentTerminal::signal(int number) {
    kill(child_, number);
}

void AgentTerminal::hangUp() {
    master_ = FileDescriptor();
}

int AgentTerminal::exitCode() {
    while (master_ && readMore()) {
    }
    int status = 0;
    waitpid(std::exchange(child_, -1), &status, 0);
    return exitCodeOfWaitStatus(status);
}

}  // namespace quernlight::standin::test
