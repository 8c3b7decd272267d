#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "quernlight/platform/task.hpp"
#include "quernlight/runner/ansi_transcript_writer.hpp"
#include "quernlight/runner/open_terminal.hpp"
#include "quernlight/runner/runner_event.hpp"
#include "quernlight/runner/session_leader.hpp"
#include "quernlight/runner/start_session_request.hpp"
#include "quernlight/runner/terminal_write_queue.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight {

/// One agent command line in a fresh pseudo-terminal. Shared by the runner's registry and by what is under
/// way on the reader queue, an executor with one thread that alone reads, writes and closes the terminal.
/// Operations may be called from any thread.
class PTYProcess : public std::enable_shared_from_this<PTYProcess> {
  public:
    /// Gets `started` on the thread that calls `start`, then every `output` and last `exited`, once, on the
    /// reader queue. Must not throw.
    using EventHandler = std::function<void(const RunnerEvent&)>;

    /// Whether output that is read now finds room; called on the reader queue.
    using RoomTest = std::function<bool()>;

    PTYProcess(boost::asio::any_io_executor readerQueue, StartSessionRequest request,
               std::shared_ptr<ANSITranscriptWriter> writer, EventHandler onEvent);
    PTYProcess(const PTYProcess&) = delete;
    PTYProcess& operator=(const PTYProcess&) = delete;
    ~PTYProcess();

    /// Output stays in the terminal while there is no room; what is there at the exit is read all the same.
    /// Before the start.
    void readOnlyWhile(RoomTest hasRoom) { hasRoom_ = std::move(hasRoom); }

    /// Launches the child. Called once, right after construction. Throws PTYProcessError, and then nothing is
    /// left open or announced. A terminal size beyond 65535 stops the program.
    StartSessionResponse start();

    /// Types the bytes as TerminalInputEncoding gives them and returns when the terminal has taken them all;
    /// writes keep their order and never mix. Throws PTYProcessError (`sessionNotRunning`), also when the
    /// child exits meanwhile, and std::system_error when the terminal refuses them. Cancelling ends the wait,
    /// not the write.
    Task<void> write(std::string data);

    /// The same, every byte as it is.
    Task<void> writeKeys(std::string bytes);

    /// Sets the window size in characters, each value raised to at least 1; one beyond 65535 stops the
    /// program. Throws PTYProcessError (`sessionNotRunning`).
    void resize(int columns, int rows);

    /// Asks the child to stop; signals never throw, the exit command throws what `write` does.
    Task<void> terminate(TerminationMode mode);

    bool isRunning() const;

    /// The session as it runs; nothing before the start and after the exit.
    std::optional<RunnerSessionSnapshot> snapshot() const;

    /// Ends a session without `exited`: closes the terminal, which makes the kernel send the child SIGHUP,
    /// ends waiting writes, and reaps a child that goes at once. Only when the reader queue has stopped.
    void hangUp();

  private:
    void launch(OpenTerminal terminal);
    void watchLeader();
    StartSessionResponse markRunning();
    void awaitOutput();
    void awaitRoomForOutput();
    void awaitExit();
    bool canBeReapedNow();
    std::optional<std::size_t> readChunk(std::size_t limit);
    void readLastWords();
    void writePending();
    void awaitRoom();
    void handleExit();
    void finishTranscripts();
    bool closeTerminal();

    const boost::asio::any_io_executor readerQueue_;
    const StartSessionRequest request_;
    const std::shared_ptr<ANSITranscriptWriter> writer_;
    const EventHandler onEvent_;
    RoomTest hasRoom_ = [] { return true; };
    SessionLeader leader_;
    TerminalWriteQueue writes_;
    bool awaitingRoom_ = false;  // a wait for the terminal to take more is under way; reader queue only
    std::optional<boost::asio::posix::stream_descriptor> exitWatcher_;  // reader queue only, once started

    mutable std::mutex lock_;  // guards what follows; never held during input, output or an event
    std::optional<boost::asio::posix::stream_descriptor>
        master_;  // non-blocking; replaced on the reader queue
    bool running_ = false;
    std::optional<Instant> startedAt_;
};

}  // namespace quernlight
