#pragma once

#include "host/manual/command_description.hpp"

namespace CLI {
class App;
}

namespace quernlight::host {

/// Gives what the options of the command, and of those beneath it, take the names that people read: FILE,
/// URL, BUG (see valueName) in place of TEXT.
void nameValues(CLI::App& command);

/// A command of the program as help, manual pages and completion have it, with those beneath it.
CommandDescription descriptionOf(const CLI::App& command);

/// How wide help may be: as wide as the terminal, but no wider than is read with ease; 80 columns where there
/// is none.
std::size_t helpColumns();

}  // namespace quernlight::host
