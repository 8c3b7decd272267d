#pragma once

#include <string>
#include <string_view>

#include "host/screen/screen_grid.hpp"
#include "host/screen/terminal_modes.hpp"
#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// What a terminal answers to a control sequence that asks something: its status, the cursor's place, what it
/// can do, which additions of the keyboard protocol are on (none: keys are written the plain way), a mode,
/// its size. Empty when it asks nothing that is known.
std::string answerTo(const ControlSequence& question, const ScreenGrid& grid, const TerminalModes& modes);

/// The same of an operating system command: the colours of text and background, light on dark.
std::string answerTo(std::string_view command, std::string_view end);

}  // namespace quernlight::host
