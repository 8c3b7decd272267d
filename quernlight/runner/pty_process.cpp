#include "quernlight/runner/pty_process.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "quernlight/platform/exit_watcher.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/runner/open_terminal.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "quernlight/runner/terminal_input.hpp"

namespace quernlight {
namespace asio = boost::asio;
namespace {

/// At least what a kernel holds for a terminal: the size of a read, and the most that is read after the exit.
constexpr std::size_t terminalBufferSize = 64 * 1024;

/// A read of so much may have left more in the terminal: kernels hand out 1 to 4 KiB at a time.
constexpr std::size_t largeRead = 1024;

/// Who bounds how many events wait thereby bounds the memory that they take.
constexpr std::size_t enoughAtOnce = 16 * 1024;

/// How long a session that is being dropped gives its child to take the hang-up.
constexpr int hangUpMilliseconds = 100;

/// How long a full terminal that nobody has open is left alone.
constexpr std::chrono::milliseconds hungUpPause{50};

/// How long output that finds no room is left in the terminal.
constexpr std::chrono::milliseconds noRoomPause{5};

/// One for all sessions of a thread: what has been read is passed on before the next read.
std::string& readBuffer() {
    thread_local std::string buffer(terminalBufferSize, '\0');
    return buffer;
}

ssize_t readOnce(int master, char* to, std::size_t limit) {
    ssize_t count = -1;
    do {
        count = ::read(master, to, limit);
    } while (count < 0 && errno == EINTR);
    return count;
}

/// As `read`, but goes on while there is more: in a flood that is one event for what would be several, each
/// with its writes to the transcripts and its wake-ups. An end that follows is found by the next call.
ssize_t readWhatIsThere(int master, char* to, std::size_t limit) {
    ssize_t count = readOnce(master, to, limit);
    auto total = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    while (count >= static_cast<ssize_t>(largeRead) && total < std::min(limit, enoughAtOnce)) {
        count = readOnce(master, to + total, limit - total);
        total += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return total > 0 ? static_cast<ssize_t>(total) : count;
}

bool isHungUp(int master) {
    pollfd terminal{.fd = master, .events = POLLOUT, .revents = 0};
    return ::poll(&terminal, 1, 0) > 0 && (terminal.revents & POLLHUP) != 0 &&
           (terminal.revents & POLLOUT) == 0;
}

OpenTerminal allocateTerminal(const StartSessionRequest& request) {
    const winsize size = windowSize(request.columns, request.rows);
    try {
        return openTerminal(size);
    } catch (const std::system_error& error) {
        throw PTYProcessError::openPTYFailed(error.code().message());
    }
}

}  // namespace

PTYProcess::PTYProcess(asio::any_io_executor readerQueue, StartSessionRequest request,
                       std::shared_ptr<ANSITranscriptWriter> writer, EventHandler onEvent)
    : readerQueue_(std::move(readerQueue)),
      request_(std::move(request)),
      writer_(std::move(writer)),
      onEvent_(std::move(onEvent)) {}

PTYProcess::~PTYProcess() {
    hangUp();
}

StartSessionResponse PTYProcess::start() {
    if (request_.launchCommand.empty()) {
        throw PTYProcessError::emptyLaunchCommand();
    }
    try {
        launch(allocateTerminal(request_));
    } catch (const std::system_error& error) {
        master_.reset();
        throw PTYProcessError::processLaunchFailed(error.code().message());
    } catch (const boost::system::system_error& error) {
        master_.reset();
        throw PTYProcessError::processLaunchFailed(error.code().message());
    }
    const StartSessionResponse response = markRunning();
    // Nothing is read and no exit is noticed before this has been delivered, so it is the first event.
    onEvent_(RunnerEvent::Started{response.sessionID, response.pid, response.startedAt});
    asio::post(readerQueue_, [self = shared_from_this()] {
        self->awaitOutput();
        self->awaitExit();
    });
    return response;
}

/// The slave side is closed here when `terminal` goes, whether the child runs or not.
void PTYProcess::launch(OpenTerminal terminal) {
    const SpawnRequest spawn =
        agentSpawnRequest(request_, {.device = terminal.device, .masterDescriptor = terminal.master.get()});
    master_.emplace(readerQueue_, terminal.master.get());
    terminal.master.release();
    master_->native_non_blocking(true);
    leader_.launched(spawnProcess(spawn));
    try {
        watchLeader();
    } catch (...) {
        // A child whose exit would go unnoticed must not stay.
        leader_.killAndReap();
        throw;
    }
}

void PTYProcess::watchLeader() {
    FileDescriptor watcher = watchExit(leader_.processID());
    exitWatcher_.emplace(readerQueue_, watcher.get());
    watcher.release();
}

StartSessionResponse PTYProcess::markRunning() {
    writes_.open();
    const std::lock_guard guard(lock_);
    running_ = true;
    startedAt_ = currentInstant();
    return {.sessionID = request_.sessionID, .pid = leader_.processID(), .startedAt = *startedAt_};
}

void PTYProcess::awaitOutput() {
    if (!hasRoom_()) {
        awaitRoomForOutput();
        return;
    }
    master_->async_wait(asio::posix::descriptor_base::wait_read,
                        [self = shared_from_this()](const boost::system::error_code& error) {
                            // The wait may have ended well just before the exit closed the terminal.
                            if (!error && self->master_ && self->readChunk(terminalBufferSize).has_value()) {
                                self->awaitOutput();
                            }
                        });
}

/// An agent whose output finds no room waits in its writes meanwhile; nobody tells when there is some.
void PTYProcess::awaitRoomForOutput() {
    auto timer = std::make_shared<asio::steady_timer>(readerQueue_, noRoomPause);
    timer->async_wait([self = shared_from_this(), timer](const boost::system::error_code& error) {
        if (!error && self->master_) {
            self->awaitOutput();
        }
    });
}

void PTYProcess::awaitExit() {
    exitWatcher_->async_wait(asio::posix::descriptor_base::wait_read,
                             [self = shared_from_this()](const boost::system::error_code& error) {
                                 if (error) {
                                     return;
                                 }
                                 if (self->canBeReapedNow()) {
                                     self->handleExit();
                                 } else {
                                     self->awaitExit();
                                 }
                             });
}

bool PTYProcess::canBeReapedNow() {
    return canBeReaped(exitWatcher_->native_handle(), leader_.processID());
}

/// Reads what is there, at most `limit` bytes, and passes it on. Returns how many bytes it was, 0 when none
/// are waiting; nothing at the terminal's end of file, which Linux reports as an error (EIO).
std::optional<std::size_t> PTYProcess::readChunk(std::size_t limit) {
    std::string& buffer = readBuffer();
    const ssize_t count =
        readWhatIsThere(master_->native_handle(), buffer.data(), std::min(limit, buffer.size()));
    if (count <= 0) {
        return count < 0 && errno == EAGAIN ? std::optional<std::size_t>(0) : std::nullopt;
    }
    std::string bytes(buffer, 0, static_cast<std::size_t>(count));
    try {
        writer_->append(bytes);
    } catch (const std::exception&) {
        // A session does not stop for a full disk: the bytes are still announced.
    }
    onEvent_(RunnerEvent::Output{request_.sessionID, std::move(bytes), currentInstant()});
    return static_cast<std::size_t>(count);
}

/// What the child wrote just before it exited is still in the kernel. The bound keeps a grandchild that
/// floods the terminal from delaying the exit.
void PTYProcess::readLastWords() {
    std::size_t read = 0;
    while (read < terminalBufferSize) {
        const auto count = readChunk(terminalBufferSize - read);
        if (count.value_or(0) == 0) {
            return;
        }
        read += *count;
    }
}

void PTYProcess::handleExit() {
    const int exitCode =
        leader_.reap().value_or(0);  // 0 is also the code of a child that somebody else has reaped
    readLastWords();
    finishTranscripts();
    closeTerminal();
    exitWatcher_.reset();
    onEvent_(RunnerEvent::Exited{request_.sessionID, exitCode, currentInstant()});
}

void PTYProcess::finishTranscripts() {
    try {
        writer_->finish();
    } catch (const std::exception&) {
        // As with every chunk: the exit is still announced.
    }
}

/// False when the session was not running.
bool PTYProcess::closeTerminal() {
    {
        const std::lock_guard guard(lock_);
        if (!std::exchange(running_, false)) {
            return false;
        }
        master_.reset();
    }
    writes_.close();
    return true;
}

void PTYProcess::hangUp() {
    if (!closeTerminal()) {
        return;
    }
    pollfd exit{.fd = exitWatcher_->native_handle(), .events = POLLIN, .revents = 0};
    while (::poll(&exit, 1, hangUpMilliseconds) > 0 && !canBeReapedNow()) {
    }
    leader_.reap();
    exitWatcher_.reset();
    finishTranscripts();
}

Task<void> PTYProcess::write(std::string data) {
    co_await writeKeys(TerminalInputEncoding::dataForPTYWrite(data));
}

Task<void> PTYProcess::writeKeys(std::string bytes) {
    const auto write = writes_.add(std::move(bytes));
    asio::post(readerQueue_, [self = shared_from_this()] {
        if (!self->awaitingRoom_) {
            self->writePending();
        }
    });
    co_await write->taken();
}

void PTYProcess::writePending() {
    awaitingRoom_ = master_ && writes_.writeTo(master_->native_handle());
    if (awaitingRoom_) {
        awaitRoom();
    }
}

/// A full terminal that nobody has open on the other side is called ready at every look, for a hang-up and
/// not for room; to wait for that would turn for ever, so it is looked at in a while instead.
void PTYProcess::awaitRoom() {
    auto goOn = [self = shared_from_this()](const boost::system::error_code& error) {
        if (!error) {
            self->writePending();
        }
    };
    if (!isHungUp(master_->native_handle())) {
        master_->async_wait(asio::posix::descriptor_base::wait_write, std::move(goOn));
        return;
    }
    auto timer = std::make_shared<asio::steady_timer>(readerQueue_, hungUpPause);
    timer->async_wait(
        [timer, goOn = std::move(goOn)](const boost::system::error_code& error) { goOn(error); });
}

void PTYProcess::resize(int columns, int rows) {
    const std::lock_guard guard(lock_);
    if (!running_) {
        throw PTYProcessError::sessionNotRunning();
    }
    const winsize size = windowSize(columns, rows);
    ::ioctl(master_->native_handle(), TIOCSWINSZ, &size);
}

Task<void> PTYProcess::terminate(TerminationMode mode) {
    static const std::string exitCommand = "/exit\n";
    switch (mode) {
        case TerminationMode::requestExitCommand:
            co_await write(exitCommand);
            break;
        case TerminationMode::interrupt:
            leader_.signal(SIGINT);
            break;
        case TerminationMode::terminate:
            leader_.signal(SIGTERM);
            break;
        case TerminationMode::kill:
            leader_.signal(SIGKILL);
            break;
    }
}

bool PTYProcess::isRunning() const {
    const std::lock_guard guard(lock_);
    return running_;
}

std::optional<RunnerSessionSnapshot> PTYProcess::snapshot() const {
    const std::lock_guard guard(lock_);
    if (!running_ || !startedAt_) {
        return std::nullopt;
    }
    return RunnerSessionSnapshot{
        .sessionID = request_.sessionID, .pid = leader_.processID(), .startedAt = *startedAt_};
}

}  // namespace quernlight
