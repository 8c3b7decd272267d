#pragma once

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include <termios.h>

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

    /// Asks what agents ask their terminals (cursor, attributes, keyboard mode, two colours), and waits so
    /// long for the answers; how many have come.
    std::size_t ask(std::chrono::milliseconds patience);

    /// Forgets the keys that have arrived and were not read.
    void dropPendingKeys();

    /// Waits for keys and for the pause that ends their burst. Throws TerminalClosed.
    std::string readBurst();

  private:
    using Clock = std::chrono::steady_clock;

    bool waitForKeys();
    void readInto(std::string& burst);

    termios original_{};
};

}  // namespace quernlight::standin::codex
