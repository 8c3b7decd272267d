#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <termios.h>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// What a terminal that is lent does with keys.
enum class TerminalKeys : std::uint8_t {
    allBytes,  ///< every key is only a byte
    signals,   ///< but for those that send a signal (Ctrl-C, Ctrl-Z) or hold the output (Ctrl-S)
};

/// The device of the terminal that a descriptor is; empty when it is none.
std::string terminalDevice(int descriptor);

/// Writes lines there, as far as it takes them within a second: also from the background, where they stand
/// between what others show.
void leaveLines(const std::string& device, const std::vector<std::string>& lines);

/// Whether this program may use the terminal: not while a shell has put it into the background.
bool isInForeground(const std::string& device);

/// The terminal that this program was started on, lent to what is shown while this lives: raw, neither
/// echoing nor gathering lines. One at a time. Put back when this goes, and also when a signal that no
/// handler takes ends the program.
class OwnTerminal {
  public:
    /// Throws UserError when standard input and output are not a terminal.
    explicit OwnTerminal(const boost::asio::any_io_executor& executor);

    /// That of this device. Throws UserError when it cannot be opened.
    OwnTerminal(const boost::asio::any_io_executor& executor, const std::string& device, TerminalKeys keys);

    OwnTerminal(const OwnTerminal&) = delete;
    OwnTerminal& operator=(const OwnTerminal&) = delete;
    ~OwnTerminal();

    TerminalSize size() const;

    /// Keys; empty once the terminal is gone.
    Task<std::string> read();

    /// Returns when the terminal has taken them.
    Task<void> write(std::string bytes);

    /// What is written last, when this goes.
    void undoWith(std::function<std::string()> undo) { undo_ = std::move(undo); }

  private:
    boost::asio::posix::stream_descriptor terminal_;  // opened anew, so that nothing of it is shared
    termios before_{};
    std::function<std::string()> undo_;
};

}  // namespace quernlight::host
