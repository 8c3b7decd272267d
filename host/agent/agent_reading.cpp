#include "host/agent/agent_reading.hpp"

#include <algorithm>
#include <array>
#include <span>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t summarizedLines = 4;
constexpr std::size_t longestSummary = 300;  // in characters

bool saysSomething(std::string_view line) {
    return std::ranges::any_of(unicodeScalars(line), isAlphanumeric);
}

std::string summaryOf(const std::vector<std::string>& lines) {
    std::string summary;
    std::size_t count = 0;
    for (auto line = lines.rbegin(); line != lines.rend() && count < summarizedLines; ++line) {
        if (saysSomething(*line)) {
            const std::string text = withoutControls(trimmed(*line));
            summary = summary.empty() ? text : text + " / " + summary;
            ++count;
        }
    }
    return std::string(lastCharacters(summary, longestSummary));
}

/// Whether the command is a word of its own, and the first one behind marks and blanks.
bool beginsWith(std::string_view line, std::string_view command) {
    const std::size_t at = line.find(command);
    if (at == line.npos || saysSomething(line.substr(0, at))) {
        return false;
    }
    const std::string_view behind = line.substr(at + command.size());
    return behind.empty() || behind.front() == ' ';
}

/// The last lines in a row that are not blank, of which a list may consist: further up is what was said.
std::span<const std::string> lastBlock(std::span<const std::string> lines) {
    const auto isBlank = [](const std::string& line) { return trimmed(line).empty(); };
    while (!lines.empty() && isBlank(lines.back())) {
        lines = lines.first(lines.size() - 1);
    }
    std::size_t first = lines.size();
    while (first > 0 && !isBlank(lines[first - 1])) {
        --first;
    }
    return lines.subspan(first);
}

}  // namespace

bool AgentReading::offers(std::string_view command) const {
    const auto row = composer ? static_cast<std::size_t>(composer->row) : lines.size();
    if (row >= lines.size()) {
        return false;
    }
    const auto lists = [command](const std::string& line) { return beginsWith(line, command); };
    const std::span<const std::string> all(lines);
    return std::ranges::any_of(all.subspan(row + 1), lists) ||
           std::ranges::any_of(lastBlock(all.first(row)), lists);
}

bool AgentReading::denies(std::string_view command) const {
    constexpr std::array<std::string_view, 5> denials{"unrecognized command", "unrecognised command",
                                                      "unknown command", "no such command",
                                                      "invalid command"};
    const auto row = composer ? static_cast<std::size_t>(composer->row) : lines.size();
    return std::ranges::any_of(
        std::span(lines).first(std::min(row, lines.size())), [command, &denials](const std::string& line) {
            const std::string words = lowercased(line);
            return words.find(command) != words.npos &&
                   std::ranges::any_of(denials, [&words](std::string_view denial) {
                       const std::size_t at = words.find(denial);
                       return at != words.npos && !saysSomething(std::string_view(words).substr(0, at));
                   });
        });
}

AgentReading readAgent(const ScreenPicture& picture) {
    AgentReading reading{.activity = agentActivity(picture),
                         .bracketedPaste = picture.bracketedPaste,
                         .lines = picture.lines,
                         .summary = summaryOf(picture.lines)};
    if (reading.activity.state != AgentState::dialog) {
        reading.composer = composerOn(picture);
    }
    return reading;
}

AgentReading unknownReading(bool lacksOutput) {
    return {.activity = {.rule = "none", .reason = "not all of the agent's output is drawn"},
            .summary = lacksOutput
                           ? "(output was left out in a flood, and the agent has not drawn its screen "
                             "anew since)"
                           : "(the agent writes faster than its screen is drawn)"};
}

}  // namespace quernlight::host
