#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <termios.h>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The terminal that this program was started on, lent to an agent's program while this lives: raw, so that
/// every key is only a byte. One at a time. Put back when this goes, and also when a signal that no handler
/// takes ends the program.
class OwnTerminal {
  public:
    /// Throws UserError when standard input and output are not a terminal.
    explicit OwnTerminal(const boost::asio::any_io_executor& executor);
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
