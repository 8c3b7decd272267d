#include "host/view/terminal_style.hpp"

#include <algorithm>

#include <sys/ioctl.h>

namespace quernlight::host {

TerminalStyle terminalStyle(const EnvironmentMap& environment) {
    const auto value = [&](const char* name) {
        const auto found = environment.find(name);
        return found == environment.end() ? "" : found->second;
    };
    if (value("TERM") == "dumb") {
        return TerminalStyle::lines;
    }
    return value("NO_COLOR").empty() ? TerminalStyle::colouredPicture : TerminalStyle::picture;
}

std::size_t terminalColumns(int terminal) {
    constexpr std::size_t usual = 80;
    constexpr std::size_t least = 10;
    winsize size{};
    const bool isKnown = ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return isKnown ? std::max<std::size_t>(size.ws_col, least) : usual;
}

}  // namespace quernlight::host
