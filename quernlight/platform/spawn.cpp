#include "quernlight/platform/spawn.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/spawn_session.hpp"

extern "C" char** environ;

namespace quernlight {
namespace {

void check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

class FileActions {
  public:
    FileActions() { check(posix_spawn_file_actions_init(&actions_)); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }

    posix_spawn_file_actions_t& get() { return actions_; }
    void close(int descriptor) { check(posix_spawn_file_actions_addclose(&actions_, descriptor)); }
    void open(int descriptor, const char* path) {
        check(posix_spawn_file_actions_addopen(&actions_, descriptor, path, O_RDWR, 0));
    }
    void duplicate(int from, int to) { check(posix_spawn_file_actions_adddup2(&actions_, from, to)); }

  private:
    posix_spawn_file_actions_t actions_{};
};

class Attributes {
  public:
    Attributes() { check(posix_spawnattr_init(&attributes_)); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }

    posix_spawnattr_t& get() { return attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

bool holdsNullCharacter(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

/// The vector of C strings that a program receives would end each text at its first null character, so that
/// something else would be started, or asked for something else.
void refuseNullCharacters(const SpawnRequest& request) {
    const std::filesystem::path directory = request.workingDirectory.value_or("");
    if (holdsNullCharacter(request.executable.native()) || holdsNullCharacter(directory.native()) ||
        std::ranges::any_of(request.arguments, holdsNullCharacter) ||
        std::ranges::any_of(request.environment, holdsNullCharacter)) {
        check(EINVAL);
    }
}

/// Signals as at login, whatever this process does with its own: all at their default, none blocked. A child
/// that inherited an ignored SIGCHLD could not tell how its own children ended.
void resetSignals(posix_spawnattr_t& attributes) {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    check(posix_spawnattr_setsigdefault(&attributes, &all));
    check(posix_spawnattr_setsigmask(&attributes, &none));
}

void addStreams(FileActions& actions, const TerminalStreams& terminal) {
    actions.open(0, terminal.device.c_str());
    actions.duplicate(0, 1);
    actions.duplicate(0, 2);
}

void addStreams(FileActions& actions, const DescriptorStreams& streams) {
    const int sources[] = {streams.input, streams.output, streams.error};
    for (int target = 0; target < 3; ++target) {
        if (sources[target] < 0) {
            actions.open(target, "/dev/null");
        } else {
            actions.duplicate(sources[target], target);
        }
    }
}

/// The null-terminated vector of C strings that the spawn call takes; valid while `texts` lives.
std::vector<char*> cStrings(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

pid_t spawnProcess(const SpawnRequest& request) {
    refuseNullCharacters(request);
    FileActions actions;
    const auto* terminal = std::get_if<TerminalStreams>(&request.streams);
    if (terminal && terminal->masterDescriptor >= 0) {
        actions.close(terminal->masterDescriptor);
    }
    if (request.workingDirectory) {
        check(addChangeDirectory(actions.get(), request.workingDirectory->c_str()));
    }
    std::visit([&](const auto& streams) { addStreams(actions, streams); }, request.streams);
    Attributes attributes;
    resetSignals(attributes.get());
    check(prepareSession(attributes.get(), actions.get()));
    const auto arguments = cStrings(request.arguments);
    const auto environment = cStrings(request.environment);
    pid_t child = -1;
    check(posix_spawn(&child, request.executable.c_str(), &actions.get(), &attributes.get(), arguments.data(),
                      environment.data()));
    rememberStarted(child);
    return child;
}

std::vector<std::string> currentEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; entry && *entry; ++entry) {
        entries.emplace_back(*entry);
    }
    return entries;
}

int exitCodeOfWaitStatus(int status) {
    const int low = status & 0x7F;
    if (low == 0) {
        return (status >> 8) & 0xFF;
    }
    return low == 0x7F ? status : low | 0x80;
}

}  // namespace quernlight
