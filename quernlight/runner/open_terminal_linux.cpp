#include <pty.h>

#include "quernlight/runner/open_terminal.hpp"

namespace quernlight {

int openTerminalPair(int& master, int& slave, const winsize& size) {
    return openpty(&master, &slave, nullptr, nullptr, &size);
}

}  // namespace quernlight
