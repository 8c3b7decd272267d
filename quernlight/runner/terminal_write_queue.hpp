#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Bytes on their way to one terminal, write after write in the order in which they were added. Any thread
/// adds; one thread writes, whenever the terminal has room.
class TerminalWriteQueue {
  public:
    class Write {
      public:
        explicit Write(std::string bytes) : bytes_(std::move(bytes)) {}

        /// Returns when the terminal has taken all bytes. Throws PTYProcessError (`sessionNotRunning`) when
        /// the queue was closed first, std::system_error with the error number of a write that failed. One
        /// coroutine may wait.
        Task<void> taken() const;

      private:
        friend class TerminalWriteQueue;
        enum class Outcome { pending, taken, closed, refused };

        void end(Outcome outcome, int errorNumber = 0);

        std::string bytes_;
        std::size_t written_ = 0;
        int errorNumber_ = 0;  // of a refused write; set before the outcome
        std::atomic<Outcome> outcome_{Outcome::pending};
        AsyncSignal ended_;
    };

    /// Throws PTYProcessError (`sessionNotRunning`) once the queue is closed; also before `open`.
    std::shared_ptr<Write> add(std::string bytes);

    void open();

    /// Writes to the non-blocking `descriptor` what it takes. True when it is full and more is to come.
    bool writeTo(int descriptor);

    /// Ends all writes that are not done, and refuses new ones.
    void close();

  private:
    std::shared_ptr<Write> front();
    void endFront(Write::Outcome outcome, int errorNumber = 0);

    std::mutex lock_;
    bool open_ = false;
    std::deque<std::shared_ptr<Write>> writes_;
};

}  // namespace quernlight
