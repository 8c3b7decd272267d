#include "host/terminal/questionless_output.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/screen/terminal_modes.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// Those that a terminal may be switched to: it answers to none on its own but the focus, which is undone.
bool isPassedMode(int mode) {
    static const TerminalModes known;
    return known.all().contains(mode);
}

bool isStringOf(std::string_view text, char32_t character) {
    return character < 0x80 && text.find(static_cast<char>(character)) != text.npos;
}

/// Of plain sequences those that only draw, and the titles kept and taken back.
bool isPassed(const ControlSequence& sequence) {
    const bool switches = sequence.final == 'h' || sequence.final == 'l';
    if (sequence.prefix == '?' && sequence.intermediate == 0) {
        bool areKnown = switches;
        for (std::size_t at = 0; at < sequence.parameters.size(); ++at) {
            areKnown = areKnown && isPassedMode(sequence.value(at));
        }
        return areKnown || isStringOf("JK", static_cast<char32_t>(sequence.final));
    }
    if (switches) {
        constexpr int inserting = 4;
        return sequence.prefix == 0 && sequence.intermediate == 0 && sequence.parameters.size() == 1 &&
               sequence.value(0) == inserting;
    }
    if (sequence.intermediate != 0) {
        const bool shapesCursor = sequence.intermediate == ' ' && sequence.final == 'q';
        const bool resets = sequence.intermediate == '!' && sequence.final == 'p';
        return sequence.prefix == 0 && (shapesCursor || resets);
    }
    return sequence.prefix == 0 &&
           isStringOf("@ABCDEFGHIJKLMPSTXZ`abdefmrsu", static_cast<char32_t>(sequence.final));
}

/// Titles, links, progress and notices, and where prompts begin.
bool isPassedCommand(std::string_view text) {
    constexpr std::array<std::string_view, 6> passed{"0;", "1;", "2;", "8;", "9;", "133;"};
    return std::ranges::any_of(passed, [text](std::string_view begin) { return text.starts_with(begin); });
}

std::string textOf(const ControlSequence& sequence) {
    std::string text = "\x1b[";
    text += sequence.prefix == 0 ? "" : std::string(1, sequence.prefix);
    for (std::size_t at = 0; at < sequence.parameters.size(); ++at) {
        const auto& [value, isSubordinate] = sequence.parameters[at];
        text += at == 0 ? "" : isSubordinate ? ":" : ";";
        text += value < 0 ? "" : std::to_string(value);
    }
    text += sequence.intermediate == 0 ? "" : std::string(1, sequence.intermediate);
    return text + sequence.final;
}

}  // namespace

std::string QuestionlessOutput::pass(std::string_view bytes) {
    parser_.write(bytes, *this);
    return std::exchange(passed_, {});
}

void QuestionlessOutput::print(char32_t character) {
    appendUtf8(passed_, character);
}

/// All but ENQ, which asks.
void QuestionlessOutput::control(char character) {
    if (character != '\x05') {
        passed_ += character;
    }
}

/// "ESC Z" asks what the terminal is.
void QuestionlessOutput::escape(char intermediate, char final) {
    const bool isDrawn = intermediate == 0 ? isStringOf("78DEMc=>", static_cast<char32_t>(final))
                                           : isStringOf("()*+#", static_cast<char32_t>(intermediate));
    if (isDrawn) {
        passed_ += '\x1b';
        passed_ += intermediate == 0 ? "" : std::string(1, intermediate);
        passed_ += final;
    }
}

void QuestionlessOutput::controlSequence(const ControlSequence& sequence) {
    if (isPassed(sequence)) {
        noteModes(sequence);
        passed_ += textOf(sequence);
    }
}

void QuestionlessOutput::noteModes(const ControlSequence& sequence) {
    if (sequence.prefix != '?') {
        return;
    }
    for (std::size_t at = 0; at < sequence.parameters.size(); ++at) {
        if (sequence.final == 'h') {
            modes_.insert(sequence.value(at));
        } else {
            modes_.erase(sequence.value(at));
        }
    }
}

void QuestionlessOutput::operatingSystemCommand(std::string_view text, std::string_view end) {
    if (isPassedCommand(text)) {
        passed_ += "\x1b]" + std::string(text) + std::string(end);
    }
}

/// The alternate screen goes last, since leaving it takes back where the cursor was.
std::string QuestionlessOutput::undone() const {
    std::string bytes = "\x1b\\";  // ends what the program may have left half written
    for (const int mode : modes_) {
        const bool isKept = mode == TerminalModes::wrap || mode == TerminalModes::cursor ||
                            mode == TerminalModes::savedCursor;
        bytes += isKept ? "" : "\x1b[?" + std::to_string(mode) + "l";
    }
    return bytes + "\x1b[?7h\x1b[?25h\x1b[4l\x1b[m\x1b(B\x0f\x1b>\x1b[0 q\x1b]8;;\x1b\\\x1b[r";
}

}  // namespace quernlight::host
