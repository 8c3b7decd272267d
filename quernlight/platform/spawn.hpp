#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

namespace quernlight {

/// The child's descriptors 0, 1 and 2 are one terminal, opened by the child itself; since the child leads a
/// new session by then, the device becomes its controlling terminal.
struct TerminalStreams {
    std::filesystem::path device;  ///< opened for reading and writing
    int masterDescriptor = -1;     ///< the other side, closed in the child first of all
};

/// The child's descriptors 0, 1 and 2 are copies of these; -1 stands for /dev/null.
struct DescriptorStreams {
    int input = -1;
    int output = -1;
    int error = -1;
};

struct SpawnRequest {
    std::filesystem::path executable{};      ///< started as it is; no search of PATH
    std::vector<std::string> arguments{};    ///< the whole vector, its first element included
    std::vector<std::string> environment{};  ///< "KEY=value" entries; nothing is inherited besides
    std::optional<std::filesystem::path> workingDirectory{};  ///< absent: the caller's
    std::variant<DescriptorStreams, TerminalStreams> streams{};
};

/// Starts a child that leads a session and process group of its own, with no descriptor open but 0, 1 and 2,
/// every signal at its default and none blocked. Returns its process id once the program runs; the caller
/// reaps it. From any thread. Throws std::system_error with the error number of the failing call ("invalid
/// argument" for a text with a null character), and then there is no child.
pid_t spawnProcess(const SpawnRequest& request);

/// The calling process's environment as "KEY=value" entries.
std::vector<std::string> currentEnvironment();

/// The exit code of a status from `waitpid`: the normal exit status (0 to 255), 128 plus the number of the
/// signal that ended the child, or the status as it stands when it says neither.
int exitCodeOfWaitStatus(int status);

/// A signal's name as shells know it, such as "SIGSEGV"; "signal 77" for a number without one.
std::string signalName(int signal);

}  // namespace quernlight
