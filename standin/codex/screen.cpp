#include "standin/codex/screen.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

constexpr std::string_view reset = "\x1b[0m";

std::string coloured(std::string_view code, std::string_view text) {
    std::string result = "\x1b[";
    result += code;
    result += 'm';
    result += text;
    result += reset;
    return result;
}

std::string mcpLine(std::size_t started, std::size_t all) {
    return coloured("36", "◦") + " Starting MCP servers (" + std::to_string(started) + "/" +
           std::to_string(all) + "): quernlight\r\n";
}

/// Lines of at most so many characters.
std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t length = 0;
    for (const char byte : text) {
        const bool begins = (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
        if (byte == '\n' || (begins && length == width)) {
            lines.emplace_back();
            length = 0;
        }
        if (byte != '\n') {
            lines.back() += byte;
            length += begins ? 1 : 0;
        }
    }
    return lines;
}

}  // namespace

std::string versionLine() {
    return "standin-codex 0.1.0";
}

std::vector<std::string> startupTexts(bool slow) {
    const std::size_t servers = slow ? 4 : 1;
    std::vector<std::string> texts;
    texts.push_back(coloured("1", ">_ Stand-in agent") + " " + coloured("2", "(0.1.0)") + "\r\n" +
                    coloured("2", "model:") + "     standin-1   loading\r\n");
    for (std::size_t started = 0; started < servers; ++started) {
        texts.push_back(mcpLine(started, servers));
    }
    texts.push_back("\x1b[H\x1b[2J" + coloured("2", "model:") +
                    "     standin-1   ready\r\n");  // in its place
    texts.push_back(coloured("32", "✔") + " MCP startup complete\r\n");
    return texts;
}

ComposerDrawing composerDrawing(std::string_view shown, std::size_t columns, std::size_t mostRows) {
    const std::string glyph = coloured("1;36", "›") + " ";
    if (shown.empty()) {
        return {.text = glyph + coloured("2", "Type a goal") + "\r\x1b[2C", .rows = 1};
    }
    const std::vector<std::string> lines = wrapped(shown, columns - 3);
    const std::size_t first = lines.size() > mostRows ? lines.size() - mostRows : 0;
    ComposerDrawing drawing{.text = glyph + lines[first], .rows = lines.size() - first};
    for (std::size_t line = first + 1; line < lines.size(); ++line) {
        drawing.text += "\r\n  " + lines[line];
    }
    return drawing;
}

std::string offeredCommands(std::string_view shown, bool hasGoals) {
    constexpr std::pair<std::string_view, std::string_view> commands[] = {
        {"/exit", "  /exit    end the agent"}, {"/goal", "  /goal    set the goal to work for"}};
    std::string rows;
    std::size_t count = 1;
    for (const auto& [command, row] : commands) {
        if (!shown.empty() && command.starts_with(shown) && (hasGoals || command != "/goal")) {
            rows += "\r\n" + coloured("2", row);
            ++count;
        }
    }
    const std::string column = std::to_string(shown.size() + 3);
    return rows.empty() ? "" : "\r\n" + rows + "\x1b[" + std::to_string(count) + "A\x1b[" + column + "G";
}

Question replaceGoalQuestion() {
    return {.lines = {"  Replace goal?", ""}, .options = {"Replace current goal", "Cancel"}};
}

Question trustQuestion(std::string_view directory) {
    return {.lines = {"  Trust this folder?", "  " + std::string(directory), ""},
            .options = {"Yes, continue", "No, quit"}};
}

Question loginMenu() {
    return {.lines = {"  Welcome to the stand-in agent", ""},
            .options = {"Sign in with an account", "Provide your own API key"}};
}

Question updateQuestion() {
    return {.lines = {"  Update available! 0.1.0 -> 0.2.0", ""}, .options = {"Update now", "Skip"}};
}

Question resumeGoalQuestion() {
    return {.lines = {"  Resume paused goal?", ""}, .options = {"Resume goal", "Leave paused"}};
}

Question approvalQuestion() {
    return {.lines = {"  Would you like to run the following command?", "", "  $ touch /etc/probe", ""},
            .options = {"Yes, proceed", "No, and tell the agent what to do differently"}};
}

std::string questionDrawing(const Question& question, std::size_t selected) {
    std::string text;
    for (const std::string& line : question.lines) {
        text += line + "\r\n";
    }
    for (std::size_t option = 0; option < question.options.size(); ++option) {
        text += option == 0 ? "" : "\r\n";
        text += (option == selected ? "› " : "  ") + std::to_string(option + 1) + ". ";
        text += question.options[option];
    }
    return text;
}

std::string usageLimitLine(std::string_view until) {
    const std::string when = until.empty() ? "later" : "at " + std::string(until);
    return failureLine("You've hit your usage limit. Upgrade your plan, or try again " + when + ".");
}

std::string damagedLine() {
    return "The journal does not fit the ledger (E7731).";
}

std::string clearedRows(std::size_t rows) {
    return "\r" + (rows > 1 ? "\x1b[" + std::to_string(rows - 1) + "A" : std::string()) + "\x1b[J";
}

std::string fullScreen(std::size_t columns, std::size_t rows, std::string_view keys) {
    std::string shown;
    for (const char key : keys) {
        const bool isControl = key >= 0 && key < ' ';
        shown += isControl ? std::string{'^', static_cast<char>(key + '@')} : std::string(1, key);
    }
    const std::string size = std::to_string(columns) + " by " + std::to_string(rows);
    return "\x1b[2J\x1b[2;3H" + coloured("1;33;44", " Full screen ") + " " + size + "\x1b[" +
           std::to_string(rows) + ";1H" + coloured("7", "keys:") + " " + shown + "\x1b[2;1H";
}

std::string terminalLine(std::size_t answers) {
    return coloured("2", "terminal:") + "  answers " + std::to_string(answers) + " of 5\r\n";
}

std::string titleOf(bool works) {
    return works ? "\x1b]0;⠋ standin\x07" : "\x1b]0;standin\x07";
}

std::string resumedLine(std::string_view sessionID) {
    return "Resumed session " + std::string(sessionID) + "\r\n";
}

std::string unknownSessionLine(std::string_view sessionID) {
    return "No saved session found with ID " + std::string(sessionID);
}

std::string stepLine(std::string_view text) {
    return clearedLine() + coloured("32", "•") + " " + std::string(text) + "\r\n";
}

std::string failureLine(std::string_view sentence) {
    std::string oneLine(sentence);
    std::replace(oneLine.begin(), oneLine.end(), '\n', ' ');
    return clearedLine() + coloured("31", "■") + " " + oneLine + "\r\n";
}

std::string spinnerFrame(std::size_t frame, std::string_view text) {
    constexpr std::string_view frames[] = {"⠋", "⠙", "⠹", "⠸", "⠼", "⠴"};
    return "\r" + coloured("35", frames[frame % std::size(frames)]) + " " + coloured("2", text);
}

std::string clearedLine() {
    return "\r\x1b[2K";
}

std::string floodBlock(std::size_t firstLine, std::size_t size) {
    std::string block;
    block.reserve(size + 128);
    for (std::size_t line = firstLine; block.size() < size; ++line) {
        block += "\x1b[" + std::to_string(31 + line % 7) + "m" + std::to_string(line);
        block += "\x1b[0m \x1b[2mcompiling\x1b[0m Sources/Feature/ViewController.swift … ok\r\n";
    }
    return block;
}

}  // namespace quernlight::standin::codex
