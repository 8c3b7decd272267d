#include "tests/support/standin/backend_process.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {
namespace {

/// The reading and the writing end.
std::pair<FileDescriptor, FileDescriptor> makePipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Up to `size` bytes; empty at the end of the stream, and after the generous bound, which fails the test.
std::string readSome(const FileDescriptor& source, std::size_t size) {
    pollfd waiting{source.get(), POLLIN, 0};
    const auto bound = std::chrono::milliseconds(generousBound).count();
    if (::poll(&waiting, 1, static_cast<int>(bound)) != 1) {
        ADD_FAILURE() << "nothing was written in time";
        return "";
    }
    std::string bytes(size, '\0');
    const auto count = ::read(source.get(), bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

std::string readAll(const FileDescriptor& source) {
    std::string all;
    for (auto bytes = readSome(source, 4096); !bytes.empty(); bytes = readSome(source, 4096)) {
        all += bytes;
    }
    return all;
}

FileDescriptor connectedTo(unsigned port) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), "connect");
    }
    return socket;
}

}  // namespace

BackendProcess::BackendProcess(std::vector<std::string> arguments, const std::string& program) {
    auto [childInput, input] = makePipe();
    auto [output, childOutput] = makePipe();
    auto [error, childError] = makePipe();
    arguments.insert(arguments.begin(), std::filesystem::path(program).filename());
    SpawnRequest request;
    request.executable = program;
    request.arguments = std::move(arguments);
    request.environment = currentEnvironment();
    request.streams = DescriptorStreams{childInput.get(), childOutput.get(), childError.get()};
    pid_ = spawnProcess(request);
    input_ = std::move(input);
    output_ = std::move(output);
    error_ = std::move(error);
}

BackendProcess::~BackendProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

unsigned BackendProcess::port() {
    const std::string announced = "listening on http://127.0.0.1:";
    std::string line;
    while (port_ == 0 && !line.ends_with('\n')) {
        const std::string next = readSome(output_, 1);
        if (next.empty()) {
            throw std::runtime_error("the backend did not start: " + errorText());
        }
        line += next;
    }
    if (port_ == 0) {
        EXPECT_THAT(line, testing::MatchesRegex(announced + "[0-9]+\n"));
        port_ = static_cast<unsigned>(std::stoul(line.substr(announced.size())));
    }
    return port_;
}

void BackendProcess::closeInput() {
    input_.close();
}

int BackendProcess::exitCode() {
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return exitCodeOfWaitStatus(status);
}

std::string BackendProcess::errorText() {
    return readAll(error_);
}

FileDescriptor BackendProcess::send(const std::string& bytes) {
    FileDescriptor socket = connectedTo(port());
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const auto count = ::send(socket.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            break;  // refused before its end; what came back says why
        }
        sent += static_cast<std::size_t>(count);
    }
    return socket;
}

std::string BackendProcess::exchange(const std::string& bytes) {
    return readAll(send(bytes));
}

}  // namespace quernlight::test
