#include "standin/codex/git.hpp"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

std::pair<FileDescriptor, FileDescriptor> openPipe() {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "Git's output cannot be read");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

std::string readToEnd(int descriptor) {
    std::string text;
    char bytes[4096];
    while (true) {
        const ssize_t count = read(descriptor, bytes, sizeof bytes);
        if (count > 0) {
            text.append(bytes, static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

/// A status that is lost is no success.
int exitCodeOf(pid_t child) {
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = waitpid(child, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    return reaped < 0 ? EXIT_FAILURE : exitCodeOfWaitStatus(status);
}

/// Commits bear the agent's name, whoever's machine this is, and nothing runs on in the background.
std::vector<std::string> commandLine(const std::filesystem::path& directory,
                                     const std::vector<std::string>& arguments) {
    std::vector<std::string> line{"/usr/bin/env", "git",
                                  "-C",           directory.string(),
                                  "-c",           "user.name=Stand-in Agent",
                                  "-c",           "user.email=agent@standin.example",
                                  "-c",           "commit.gpgsign=false",
                                  "-c",           "gc.auto=0",
                                  "-c",           "maintenance.auto=false"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

}  // namespace

Git::Git(std::filesystem::path directory) : directory_(std::move(directory)) {}

std::string Git::run(const std::vector<std::string>& arguments) const {
    Result result = execute(arguments);
    if (result.status != 0) {
        throw std::runtime_error("git " + arguments.front() + " failed: " + result.output);
    }
    return std::move(result.output);
}

bool Git::succeeds(const std::vector<std::string>& arguments) const {
    return execute(arguments).status == 0;
}

Git::Result Git::execute(const std::vector<std::string>& arguments) const {
    auto [output, input] = openPipe();
    SpawnRequest request{
        .executable = "/usr/bin/env",
        .arguments = commandLine(directory_, arguments),
        .environment = currentEnvironment(),
        .workingDirectory = {},
        .streams = DescriptorStreams{.input = -1, .output = input.get(), .error = input.get()}};
    request.environment.push_back("GIT_TERMINAL_PROMPT=0");
    const pid_t child = spawnProcess(request);
    input = FileDescriptor();
    Result result;
    result.output = trimmed(readToEnd(output.get()));
    result.status = exitCodeOf(child);
    return result;
}

}  // namespace quernlight::standin::codex
