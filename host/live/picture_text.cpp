#include "host/live/picture_text.hpp"

#include <algorithm>
#include <utility>

#include "host/text/terminal_text.hpp"
#include "host/text/wrapped_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view choices = " [y/N] ";

/// Beside a blank in front of them.
std::size_t textColumns(TerminalSize size) {
    return static_cast<std::size_t>(std::max(size.columns, 2)) - 1;
}

std::size_t mostTold(TerminalSize size) {
    return size.rows > 4 ? static_cast<std::size_t>(size.rows) / 3 : 0;
}

struct QuestionLines {
    std::vector<std::string> above{};
    std::string last{};
};

/// Its end stands beside what may be answered.
QuestionLines questionLines(const LiveQuestion& question, TerminalSize size) {
    const std::size_t columns = textColumns(size) - std::min(textColumns(size), choices.size());
    QuestionLines lines{.above = wrapped(question.sentence, columns, mostTold(size) + 1)};
    lines.last = lines.above.back() + std::string(choices);
    lines.above.pop_back();
    return lines;
}

}  // namespace

std::vector<std::string> alertLines(const std::vector<std::string>& alerts, std::size_t columns,
                                    std::size_t rows) {
    const std::size_t room = columns - std::min(columns, alertSign.size());
    std::vector<std::string> lines;
    for (std::size_t index = 0; index < alerts.size() && lines.size() < rows; ++index) {
        const std::size_t behind = std::min(alerts.size() - index - 1, rows - lines.size() - 1);
        std::string sign(alertSign);
        for (const std::string& line : wrapped(alerts[index], room, rows - lines.size() - behind)) {
            lines.push_back(std::exchange(sign, std::string(alertSign.size(), ' ')) + line);
        }
    }
    return lines;
}

std::vector<std::string> toldLines(const LiveChoice& choice, TerminalSize size) {
    if (choice.question) {
        return questionLines(*choice.question, size).above;
    }
    const std::size_t most = mostTold(size);
    std::string_view text = choice.message;
    auto lines = text.empty() ? std::vector<std::string>() : wrapped(text, textColumns(size));
    while (lines.size() > most && text.find('\n') != std::string_view::npos) {
        text.remove_prefix(text.find('\n') + 1);
        lines = wrapped(text, textColumns(size));
    }
    return lines.size() > most ? wrapped(text, textColumns(size), most) : lines;
}

std::string askedOnLastLine(const LiveQuestion& question, TerminalSize size) {
    return questionLines(question, size).last;
}

ShownLines shownLines(const PaneText& pane, std::size_t scrolled, PaneRoom room) {
    const bool isFromEnd = isReadFromEnd(pane.pane);
    const std::size_t columns = room.columns - std::min<std::size_t>(room.columns, 1);
    std::vector<std::string> lines;  // in the order in which they are read
    for (std::size_t index = 0; index < pane.lines.size() && lines.size() < scrolled + room.rows; ++index) {
        const std::string& line = pane.lines[isFromEnd ? pane.lines.size() - 1 - index : index];
        auto rows = room.isCut ? std::vector{line} : wrapped(line, columns);
        if (isFromEnd) {
            std::ranges::reverse(rows);
        }
        lines.insert(lines.end(), rows.begin(), rows.end());
    }
    ShownLines shown{.scrolled = std::min(scrolled, lines.size() - std::min(lines.size(), room.rows))};
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(shown.scrolled);
    const std::size_t count = std::min(room.rows, lines.size() - shown.scrolled);
    shown.lines.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
    if (isFromEnd) {
        std::ranges::reverse(shown.lines);
    }
    return shown;
}

}  // namespace quernlight::host
