#pragma once

#include "host/screen/screen_grid.hpp"
#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// Does what a control sequence says of cells, cursor, tab stops and scrolling region. Returns whether it is
/// one of those.
bool applyToGrid(const ControlSequence& sequence, ScreenGrid& grid);

}  // namespace quernlight::host
