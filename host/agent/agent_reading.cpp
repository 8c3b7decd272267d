#include "host/agent/agent_reading.hpp"

#include <algorithm>

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

}  // namespace

/// Such a line holds more than the command; the composer's own is left out by that.
bool AgentReading::offers(std::string_view command) const {
    return std::ranges::any_of(lines, [command](const std::string& line) {
        const std::size_t at = line.find(command);
        const std::size_t end = at + command.size();
        return at != line.npos && end + 2 < line.size() && line[end] == ' ' && line[end + 1] == ' ';
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

AgentReading unknownReading() {
    return {.activity = {.rule = "none", .reason = "not all of the agent's output is drawn"},
            .summary = "(the agent writes faster than its screen is drawn)"};
}

}  // namespace quernlight::host
