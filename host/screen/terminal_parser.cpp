#include "host/screen/terminal_parser.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr char32_t cancel = 0x18, substitute = 0x1A, escapeCharacter = 0x1B, deleteCharacter = 0x7F;
constexpr int greatestParameter = 1'000'000;

constexpr bool isBetween(char32_t character, char32_t first, char32_t last) {
    return character >= first && character <= last;
}

constexpr bool isC0(char32_t character) {
    return character < 0x20;
}

}  // namespace

int ControlSequence::count(std::size_t index, int otherwise) const {
    const int given = value(index);
    return given == 0 ? otherwise : given;
}

int ControlSequence::value(std::size_t index) const {
    return index < parameters.size() ? std::max(parameters[index].value, 0) : 0;
}

bool Utf8Decoder::begin(unsigned char byte) {
    const auto expect = [&](int missing, unsigned char bits, unsigned char lowest, unsigned char highest) {
        missing_ = missing;
        scalar_ = byte & bits;
        lowest_ = lowest;
        highest_ = highest;
        return false;
    };
    if (byte < 0x80) {
        scalar_ = byte;
        return true;
    }
    if (isBetween(byte, 0xC2, 0xDF)) {
        return expect(1, 0x1F, 0x80, 0xBF);
    }
    if (isBetween(byte, 0xE0, 0xEF)) {
        return expect(2, 0x0F, byte == 0xE0 ? 0xA0 : 0x80, byte == 0xED ? 0x9F : 0xBF);
    }
    if (isBetween(byte, 0xF0, 0xF4)) {
        return expect(3, 0x07, byte == 0xF0 ? 0x90 : 0x80, byte == 0xF4 ? 0x8F : 0xBF);
    }
    scalar_ = 0xFFFD;
    return true;
}

bool Utf8Decoder::goOn(unsigned char byte) {
    scalar_ = (scalar_ << 6U) | (byte & 0x3FU);
    lowest_ = 0x80;
    highest_ = 0xBF;
    return --missing_ == 0;
}

void TerminalParser::write(std::string_view bytes, TerminalActions& actions) {
    for (const char byte : bytes) {
        if (isBetween(static_cast<unsigned char>(byte), 0x20, 0x7E) && isBetweenPieces()) {
            actions.print(static_cast<char32_t>(byte));  // most of what there is
            continue;
        }
        decoder_.put(static_cast<unsigned char>(byte), [&](char32_t character) { put(character, actions); });
    }
}

void TerminalParser::put(char32_t character, TerminalActions& actions) {
    if (character == cancel || character == substitute) {
        state_ = State::ground;
    } else if (character == escapeCharacter) {
        endCommand("\x1b\\", actions);
        state_ = State::escape;
        sequence_ = {};
    } else if (isBetween(character, 0x80, 0x9F)) {
        putC1(character, actions);
    } else if (state_ == State::command) {
        putIntoCommand(character, actions);
    } else if (state_ == State::ignoredString || character == deleteCharacter) {
        // Nothing of it is for a screen.
    } else if (isC0(character)) {
        actions.control(static_cast<char>(character));
    } else if (state_ == State::escape) {
        putIntoEscape(character, actions);
    } else if (state_ == State::sequence || state_ == State::ignoredSequence) {
        putIntoSequence(character, actions);
    } else {
        actions.print(character);
    }
}

/// A C1 control is the short form of ESC and a letter.
void TerminalParser::putC1(char32_t character, TerminalActions& actions) {
    endCommand("\x1b\\", actions);
    sequence_ = {};
    putIntoEscape(character - 0x40, actions);
}

void TerminalParser::putIntoEscape(char32_t character, TerminalActions& actions) {
    state_ = State::ground;
    if (isBetween(character, 0x20, 0x2F)) {
        sequence_.intermediate = static_cast<char>(character);
        state_ = State::escape;
    } else if (character == U'[' && sequence_.intermediate == 0) {
        beginSequence();
    } else if (character == U']' && sequence_.intermediate == 0) {
        state_ = State::command;
        command_.clear();
        commandIsTooLong_ = false;
    } else if (std::u32string_view(U"PX^_").find(character) != std::u32string_view::npos &&
               sequence_.intermediate == 0) {
        state_ = State::ignoredString;
    } else if (character < deleteCharacter) {
        actions.escape(sequence_.intermediate, static_cast<char>(character));
    }
}

void TerminalParser::beginSequence() {
    state_ = State::sequence;
    sequence_ = {};
    parameters_[0] = {};
    parameterCount_ = 0;
}

void TerminalParser::putIntoSequence(char32_t character, TerminalActions& actions) {
    const bool isIgnored = state_ == State::ignoredSequence;
    if (!isBetween(character, 0x20, 0x7E)) {
        state_ = State::ground;
    } else if (character >= 0x40) {
        state_ = State::ground;
        if (!isIgnored) {
            sequence_.final = static_cast<char>(character);
            sequence_.parameters = std::span(parameters_).first(std::min(parameterCount_, mostParameters));
            actions.controlSequence(sequence_);
        }
    } else if (character < 0x30) {
        sequence_.intermediate = static_cast<char>(character);
    } else if (!addParameterCharacter(static_cast<char>(character))) {
        state_ = State::ignoredSequence;
    }
}

/// Returns whether the sequence makes sense with it. What exceeds the room for parameters is left out.
bool TerminalParser::addParameterCharacter(char character) {
    if (sequence_.intermediate != 0) {
        return false;
    }
    if (character >= '<') {
        sequence_.prefix = character;
        return parameterCount_ == 0;
    }
    if (parameterCount_ == 0) {
        parameterCount_ = 1;
    }
    if (character == ';' || character == ':') {
        if (parameterCount_ < mostParameters) {
            parameters_[parameterCount_] = {.value = -1, .isSubordinate = character == ':'};
        }
        parameterCount_ = std::min(parameterCount_ + 1, mostParameters + 1);
    } else if (parameterCount_ <= mostParameters) {
        int& value = parameters_[parameterCount_ - 1].value;
        value = std::min(std::max(value, 0) * 10 + (character - '0'), greatestParameter);
    }
    return true;
}

void TerminalParser::putIntoCommand(char32_t character, TerminalActions& actions) {
    if (character == U'\a') {
        endCommand("\a", actions);
        state_ = State::ground;
    } else if (command_.size() >= mostCommandBytes) {
        commandIsTooLong_ = true;
    } else if (!isC0(character)) {
        appendUtf8(command_, character);
    }
}

void TerminalParser::endCommand(std::string_view end, TerminalActions& actions) {
    if (state_ == State::command && !commandIsTooLong_) {
        actions.operatingSystemCommand(command_, end);
    }
}

}  // namespace quernlight::host
