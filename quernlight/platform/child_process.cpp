#include "quernlight/platform/child_process.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/multiple_exceptions.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/exit_watcher.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"

namespace quernlight {
namespace {

namespace asio = boost::asio;
using Descriptor = asio::posix::stream_descriptor;

/// How long a pipe that somebody else holds open is still read once the child itself has exited.
constexpr std::chrono::seconds leftOpenGrace{2};

/// How long a child that is no longer wanted may take to undo what it has half done before it is killed: git,
/// for one, removes a worktree that is not finished, and its lock files.
constexpr std::chrono::milliseconds undoPatience{1000};

/// A started child. Unless it has been reaped it is ended, with its process group, and reaped at the end of
/// the owner's scope, however that is left. That blocks its thread, so it is for where nothing can be awaited
/// any more: the loop is destroyed, or the child cannot be watched.
class RunningChild {
  public:
    explicit RunningChild(pid_t processID) : processID_(processID) {}
    RunningChild(const RunningChild&) = delete;
    RunningChild& operator=(const RunningChild&) = delete;
    ~RunningChild() {
        if (processID_ > 0) {
            signalGroup(SIGTERM);
            awaitExitBriefly();
            signalGroup(SIGKILL);
            reap();
        }
    }

    pid_t processID() const { return processID_; }

    void signalGroup(int signal) const { ::kill(-processID_, signal); }

    /// Waits for the end of the child and returns its exit code; nothing when the kernel has none to tell,
    /// because SIGCHLD is ignored or somebody else has reaped the child.
    std::optional<int> reap() {
        int status = 0;
        pid_t reaped = -1;
        do {
            reaped = ::waitpid(processID_, &status, 0);
        } while (reaped < 0 && errno == EINTR);
        processID_ = -1;
        return reaped < 0 ? std::nullopt : std::optional(exitCodeOfWaitStatus(status));
    }

  private:
    void awaitExitBriefly() const {
        try {
            const FileDescriptor watcher = watchExit(processID_);
            pollfd exit{watcher.get(), POLLIN, 0};
            ::poll(&exit, 1, static_cast<int>(undoPatience.count()));
        } catch (const std::system_error&) {
            // Without a watcher it is killed at once.
        }
    }

    pid_t processID_;
};

pid_t spawn(const ChildProcessRequest& request, DescriptorStreams streams) {
    SpawnRequest spawn;
    spawn.executable = request.executable;
    spawn.arguments = request.arguments;
    spawn.arguments.insert(spawn.arguments.begin(), request.executable.string());
    spawn.environment = request.environment;
    if (!request.workingDirectory.empty()) {
        spawn.workingDirectory = request.workingDirectory;
    }
    spawn.streams = streams;
    return spawnProcess(spawn);
}

/// The reading end of a pipe that holds the text and then ends, so that nobody has to write while the child
/// reads, or to mind that it does not; no descriptor for an empty text.
FileDescriptor pipeHolding(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    Pipe pipe = openPipe();
    const bool isPatient = ::fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK) < 0;
    const ssize_t written = isPatient ? -1 : ::write(pipe.writing.get(), text.data(), text.size());
    if (written < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    if (static_cast<std::size_t>(written) < text.size()) {
        throw std::system_error(std::make_error_code(std::errc::message_size));
    }
    return std::move(pipe.reading);
}

/// Asio's own error type is not the standard's, which is what this file throws.
Descriptor adopt(const asio::any_io_executor& executor, FileDescriptor descriptor) {
    try {
        Descriptor adopted(executor, descriptor.get());
        descriptor.release();
        return adopted;
    } catch (const boost::system::system_error& error) {
        throw std::system_error(error.code().value(), std::generic_category());
    }
}

/// The end of a child's output that is read here, and what has been read. The child's end is closed here once
/// the child has its own.
struct Capture {
    explicit Capture(const asio::any_io_executor& executor) : Capture(executor, openPipe()) {}
    Capture(const asio::any_io_executor& executor, Pipe ends)
        : pipe(adopt(executor, std::move(ends.reading))), childsEnd(std::move(ends.writing)) {}

    Descriptor pipe;
    FileDescriptor childsEnd;
    std::string text{};
};

Task<void> readToEnd(Capture& capture) {
    std::array<char, 65536> buffer;
    boost::system::error_code end;
    while (!end) {
        const std::size_t count = co_await capture.pipe.async_read_some(
            asio::buffer(buffer), asio::redirect_error(asio::use_awaitable, end));
        capture.text.append(buffer.data(), count);
    }
}

/// `errors` is null when standard error goes where standard output does.
Task<void> readBothToEnd(Capture& output, Capture* errors) {
    using namespace asio::experimental::awaitable_operators;
    if (!errors) {
        co_return co_await readToEnd(output);
    }
    co_await (readToEnd(output) && readToEnd(*errors));
}

Task<void> exited(Descriptor& watcher) {
    co_await watcher.async_wait(Descriptor::wait_read, asio::use_awaitable);
}

Task<void> exitedAndGracePassed(Descriptor& watcher) {
    co_await exited(watcher);
    asio::steady_timer grace(co_await asio::this_coro::executor, leftOpenGrace);
    co_await grace.async_wait(asio::use_awaitable);
}

/// Reads to the end of the pipes, which normally comes with the child's exit.
Task<void> readUntilDone(Capture& output, Capture* errors, Descriptor& watcher) {
    using namespace asio::experimental::awaitable_operators;
    try {
        co_await (readBothToEnd(output, errors) || exitedAndGracePassed(watcher));
    } catch (const asio::multiple_exceptions&) {
        // Nothing but cancellation ends both.
        throw boost::system::system_error(asio::error::operation_aborted);
    }
}

Task<void> readAndAwaitExit(Capture& output, Capture* errors, Descriptor& watcher) {
    co_await readUntilDone(output, errors, watcher);
    co_await exited(watcher);
}

Task<void> undoPatienceOver() {
    asio::steady_timer timer(co_await asio::this_coro::executor, undoPatience);
    co_await timer.async_wait(asio::use_awaitable);
}

/// Ends a child that is no longer wanted, and its process group, while the loop goes on.
Task<void> end(RunningChild& child, Descriptor& watcher) {
    using namespace asio::experimental::awaitable_operators;
    child.signalGroup(SIGTERM);
    co_await (exited(watcher) || undoPatienceOver());
    child.signalGroup(SIGKILL);
    co_await exited(watcher);
    child.reap();
}

/// The exit code, without which nothing may be taken for a success.
int exitCodeOf(RunningChild& child) {
    const auto exitCode = child.reap();
    if (!exitCode) {
        throw std::system_error(std::make_error_code(std::errc::no_child_process));
    }
    return *exitCode;
}

Task<ChildProcessResult> run(ChildProcessRequest request) {
    const asio::any_io_executor executor = co_await asio::this_coro::executor;
    Capture output(executor);
    std::optional<Capture> errors;
    if (request.keepsErrorsApart) {
        errors.emplace(executor);
    }
    FileDescriptor& errorEnd = errors ? errors->childsEnd : output.childsEnd;
    FileDescriptor input = pipeHolding(request.input);
    DescriptorStreams streams{.input = input.get()};
    if (!request.dropsOutput) {
        streams.output = output.childsEnd.get();
        streams.error = errorEnd.get();
    }
    RunningChild child(spawn(request, streams));
    input.close();
    errorEnd.close();
    output.childsEnd.close();
    Descriptor watcher = adopt(executor, watchExit(child.processID()));
    Capture* const apart = errors ? &*errors : nullptr;
    std::exception_ptr failure;
    try {
        co_await readAndAwaitExit(output, apart, watcher);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        // What was cancelled must not run on beside what its caller does next.
        co_await asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
        co_await end(child, watcher);
        std::rethrow_exception(failure);
    }
    ChildProcessResult result{.exitCode = exitCodeOf(child), .output = std::move(output.text)};
    if (errors) {
        result.errors = std::move(errors->text);
    }
    co_return result;
}

/// A child that nobody can wait for any more has ended, whatever it came to; it was started all the same.
std::system_error named(const std::string& program, const std::system_error& error) {
    const bool isLost =
        error.code() == std::errc::no_child_process || error.code() == std::errc::no_such_process;
    if (!isLost) {
        return {error.code(), "Unable to start " + program};
    }
    return {std::make_error_code(std::errc::no_child_process),
            "The exit status of " + program +
                " is lost; leave SIGCHLD at its default, and let nobody else wait for it"};
}

/// Names the program in the error that kept it from starting or its result from being known.
Task<ChildProcessResult> runNamed(ChildProcessRequest request) {
    const std::string program = request.executable.string();
    try {
        co_return co_await run(std::move(request));
    } catch (const std::system_error& error) {
        throw named(program, error);
    }
}

}  // namespace

Task<ChildProcessResult> runChildProcess(ChildProcessRequest request) {
    // Reading and waiting for the exit are two coroutines; the strand keeps them from running at one time on
    // an executor of several threads.
    const auto strand = asio::make_strand(co_await asio::this_coro::executor);
    co_return co_await asio::co_spawn(strand, runNamed(std::move(request)), asio::use_awaitable);
}

}  // namespace quernlight
