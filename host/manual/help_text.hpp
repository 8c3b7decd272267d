#pragma once

#include <cstddef>
#include <string>

#include "host/manual/command_description.hpp"

namespace quernlight::host {

/// What `--help` prints of a command, in lines of at most `width` columns where its words allow that: what it
/// does, how it is used, its commands by group, arguments and options, the environment variables that it
/// heeds, and examples.
std::string helpText(const CommandDescription& command, std::size_t width);

}  // namespace quernlight::host
