#include "host/screen/terminal_answers.hpp"

namespace quernlight::host {
namespace {

std::string pair(int first, int second) {
    return std::to_string(first) + ";" + std::to_string(second);
}

std::string answerToStatus(const ControlSequence& question, const ScreenGrid& grid) {
    const bool isPrivate = question.prefix == '?';
    if (question.value(0) == 5 && !isPrivate) {
        return "\x1b[0n";
    }
    const std::string place = pair(grid.cursorRow() + 1, grid.cursorColumn() + 1);
    return question.value(0) == 6 ? (isPrivate ? "\x1b[?" : "\x1b[") + place + "R" : "";
}

}  // namespace

std::string answerTo(const ControlSequence& question, const ScreenGrid& grid, const TerminalModes& modes) {
    const auto is = [&](std::string_view prefixes, char intermediate, char final) {
        return question.final == final && question.intermediate == intermediate &&
               (question.prefix == 0 ? prefixes.empty() : prefixes.find(question.prefix) != prefixes.npos);
    };
    if (is("", 0, 'n') || is("?", 0, 'n')) {
        return answerToStatus(question, grid);
    }
    if (is("", 0, 'c')) {
        return question.value(0) == 0 ? "\x1b[?62;22c" : "";
    }
    if (is(">", 0, 'c')) {
        return question.value(0) == 0 ? "\x1b[>1;10;0c" : "";
    }
    if (is("?", 0, 'u')) {
        return "\x1b[?0u";
    }
    if (is("?", '$', 'p')) {
        return modes.answerAbout(question.value(0));
    }
    const bool asksSize = is("", 0, 't') && question.value(0) == 18;
    return asksSize ? "\x1b[8;" + pair(grid.rows(), grid.columns()) + "t" : "";
}

std::string answerTo(std::string_view command, std::string_view end) {
    if (command == "10;?") {
        return "\x1b]10;rgb:e5e5/e5e5/e5e5" + std::string(end);
    }
    return command == "11;?" ? "\x1b]11;rgb:0000/0000/0000" + std::string(end) : "";
}

}  // namespace quernlight::host
