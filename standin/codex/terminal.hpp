#pragma once

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include <termios.h>

#include "standin/codex/composer.hpp"

namespace quernlight::standin::codex {

/// The other side of the terminal is gone; the agent ends.
struct TerminalClosed : std::runtime_error {
    TerminalClosed() : std::runtime_error("The terminal has been closed.") {}
};

/// The terminal on descriptors 0 and 1, in raw mode while this object lives. One thread uses it.
class Terminal {
  public:
    /// Throws std::system_error when descriptor 0 is no terminal.
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /// Writes all of it, waiting as long as the other side does not read. Throws TerminalClosed.
    void write(std::string_view text);

    struct Size {
        std::size_t columns = 80, rows = 24;
    };
    Size size() const;

    /// Asks where the cursor is, as a terminal program does, and waits so long for the answer.
    void askForCursor(std::chrono::milliseconds patience);

    /// Forgets the keys that have arrived and were not read.
    void dropPendingKeys();

    /// Waits for keys and for the pause that ends their burst. Throws TerminalClosed.
    Burst readBurst();

  private:
    using Clock = std::chrono::steady_clock;

    bool waitForKeys();
    void readInto(Burst& burst);

    termios original_{};
    Clock::time_point lastKnownEmpty_ = Clock::now();  ///< no key that arrived before this is unread
};

}  // namespace quernlight::standin::codex
