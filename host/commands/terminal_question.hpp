#pragma once

#include <string>

namespace quernlight::host {

/// Whether somebody is there to be asked.
bool canAsk();

/// Asks on the terminal and waits for a line; only "y" or "yes" is a yes. Blocks, and a signal ends the
/// program meanwhile as if it had no handler, so it is asked outside of the event loop and between two
/// changes.
bool confirmed(const std::string& question);

}  // namespace quernlight::host
