#pragma once

#include <string>

namespace quernlight {

/// A signal's name as shells know it, such as "SIGSEGV"; "signal 77" for a number without one.
std::string signalName(int signal);

}  // namespace quernlight
