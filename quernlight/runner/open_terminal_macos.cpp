#include <util.h>

#include "quernlight/runner/open_terminal.hpp"

namespace quernlight {

// The call takes the size as non-const here and leaves it as it is.
int openTerminalPair(int& master, int& slave, const winsize& size) {
    winsize copy = size;
    return openpty(&master, &slave, nullptr, nullptr, &copy);
}

}  // namespace quernlight
