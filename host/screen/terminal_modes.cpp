#include "host/screen/terminal_modes.hpp"

#include <string_view>

namespace quernlight::host {
namespace {

/// Those that a program may switch and ask for, though they change nothing on a screen: keys and the mouse.
constexpr std::array otherModes{1, 9, 12, 66, 1000, 1002, 1003, 1004, 1005, 1006, 1007, 1015};

}  // namespace

TerminalModes::TerminalModes() {
    for (const int mode : otherModes) {
        modes_[mode] = false;
    }
    for (const Mode mode :
         {origin, alternate, alternateCleared, savedCursor, alternateSaved, bracketedPaste, synchronized}) {
        modes_[mode] = false;
    }
    modes_[wrap] = modes_[cursor] = true;
}

bool TerminalModes::isOn(int mode) const {
    const auto known = modes_.find(mode);
    return known != modes_.end() && known->second;
}

bool TerminalModes::set(int mode, bool isOn) {
    const auto known = modes_.find(mode);
    if (known == modes_.end()) {
        return false;
    }
    known->second = isOn;
    return true;
}

std::string TerminalModes::answerAbout(int mode) const {
    const char* state = !modes_.contains(mode) ? "0" : isOn(mode) ? "1" : "2";
    return "\x1b[?" + std::to_string(mode) + ";" + state + "$y";
}

void CharacterSets::choose(char set, char final) {
    isLineDrawing_.at(set == '(' ? 0 : 1) = final == '0';
}

std::string CharacterSets::sequence() const {
    std::string bytes = isLineDrawing_[0] ? "\x1b(0" : "\x1b(B";
    bytes += isLineDrawing_[1] ? "\x1b)0" : "\x1b)B";
    return bytes + (shown_ == 1 ? "\x0e" : "\x0f");
}

char32_t CharacterSets::drawn(char32_t character) const {
    constexpr std::u32string_view lines = U"◆▒␉␌␍␊°±␤␋┘┐┌└┼⎺⎻─⎼⎽├┤┴┬│≤≥π≠£·";
    const bool isReplaced = isLineDrawing_.at(shown_) && character >= U'`' && character <= U'~';
    return isReplaced ? lines[character - U'`'] : character;
}

}  // namespace quernlight::host
