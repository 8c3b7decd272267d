#pragma once

#include <cstddef>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// What may be sent to a terminal besides lines of text.
enum class TerminalStyle {
    lines,           ///< nothing: it moves no cursor
    picture,         ///< what moves the cursor, and no colours
    colouredPicture  ///< both
};

/// As the environment asks for it: TERM=dumb says that the terminal moves no cursor, and NO_COLOR, when it is
/// not empty, that a person wants no colours (no-color.org).
TerminalStyle terminalStyle(const EnvironmentMap& environment);

/// How wide the terminal is; 80 columns when it does not tell, and at least ten.
std::size_t terminalColumns(int terminal);

}  // namespace quernlight::host
