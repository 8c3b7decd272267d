#include "tests/host/dispatch_process.hpp"

#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <gtest/gtest.h>

#include "host/process/environment_entries.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {
namespace {

std::filesystem::path errorFile(std::filesystem::path output) {
    output += ".err";
    return output;
}

FileDescriptor created(const std::filesystem::path& file) {
    return FileDescriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
}

}  // namespace

DispatchProcess::DispatchProcess(const Launch& launch) : output_(launch.output) {
    const FileDescriptor output = created(output_);
    const FileDescriptor error = created(errorFile(output_));
    std::vector<std::string> command = launch.startedBy;
    command.emplace_back(command.empty() ? launch.program.filename() : launch.program);
    command.insert(command.end(), launch.arguments.begin(), launch.arguments.end());
    SpawnRequest request{.executable = launch.startedBy.empty() ? launch.program.string() : command.front(),
                         .arguments = command,
                         .environment = host::environmentEntries(launch.environment),
                         .workingDirectory = output_.parent_path(),
                         .streams = DescriptorStreams{
                             .input = -1,
                             .output = launch.standardOutput >= 0 ? launch.standardOutput : output.get(),
                             .error = error.get()}};
    if (!launch.terminal.empty()) {
        request.streams = TerminalStreams{.device = launch.terminal};
    }
    pid_ = spawnProcess(request);
}

DispatchProcess::~DispatchProcess() {
    if (!ended_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

bool DispatchProcess::says(const std::string& text) {
    bool said = false;
    eventually([&] {
        const bool last = hasEnded();
        said = output().find(text) != std::string::npos;
        return said || last;
    });
    return said;
}

void DispatchProcess::signal(int number) const {
    if (!ended_) {
        kill(pid_, number);
    }
}

int DispatchProcess::exitCode() {
    EXPECT_TRUE(eventually([&] { return hasEnded(); })) << "the program does not end\n" << output();
    return ended_ ? exitCodeOfWaitStatus(status_) : -1;
}

std::string DispatchProcess::output() const {
    return readFile(output_);
}

std::string DispatchProcess::errorText() const {
    return readFile(errorFile(output_));
}

bool DispatchProcess::hasEnded() {
    ended_ = ended_ || waitpid(pid_, &status_, WNOHANG) == pid_;
    return ended_;
}

}  // namespace quernlight::test
