#pragma once

#include <cstddef>
#include <optional>

#include <termios.h>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// What may be sent to a terminal besides lines of text.
enum class TerminalStyle {
    lines,           ///< nothing: it moves no cursor
    picture,         ///< what moves the cursor, and no colours
    colouredPicture  ///< both
};

/// As the environment asks for it: TERM=dumb says that the terminal moves no cursor, and NO_COLOR, when it is
/// not empty, that a person wants no colours (no-color.org).
TerminalStyle terminalStyle(const EnvironmentMap& environment);

/// The terminal that a view is drawn on: its size, and what it does with keys. While it is taken, keys are
/// neither echoed nor gathered into lines, since what is echoed would lie in the picture; those that send a
/// signal (Ctrl-C, Ctrl-Z) or hold the output (Ctrl-S) work as ever.
class ViewTerminal {
  public:
    /// `terminal` is a descriptor that stays open as long as this lives.
    explicit ViewTerminal(int terminal) : terminal_(terminal) {}
    ViewTerminal(const ViewTerminal&) = delete;
    ViewTerminal& operator=(const ViewTerminal&) = delete;
    ~ViewTerminal() { release(); }

    /// Its size now; 24 rows of 80 columns when it does not tell, and at least three rows of ten columns, so
    /// that there is room for one line.
    TerminalSize size() const;

    /// Whether this program may use it: not while a shell has put it into the background.
    bool isOurs() const;

    /// Does nothing when it is taken already, or not ours.
    void take();

    /// Takes it again after another program had it, which may have changed what it does with keys.
    void takeAgain();

    /// Makes it as it was before, and drops the keys that were pressed blindly meanwhile.
    void release();

  private:
    const int terminal_;
    std::optional<termios> before_;
    bool taken_ = false;
};

}  // namespace quernlight::host
