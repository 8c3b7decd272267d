#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::standin::codex {

// Everything the agent draws. The terminal is in raw mode, so a line ends in CR LF. Each text is meant for
// one write, so that whoever reads the other side sees whole lines.

std::string versionLine();

/// What appears one after the other before the prompt; the slow start has more servers to wait for.
std::vector<std::string> startupTexts(bool slow);

/// The composer as it is drawn: the prompt glyph and what has been typed so far, wrapped and with its lines
/// under each other, or a hint where that is nothing; under a command what it does. A long text shows its
/// end.
struct ComposerDrawing {
    std::string text;
    std::size_t rows = 1;
};
ComposerDrawing composerDrawing(std::string_view shown, std::size_t columns, std::size_t mostRows);

/// The commands that begin with what is typed so far, as they are offered below the composer with a blank
/// line between, and the way back to its text; empty where none does.
std::string offeredCommands(std::string_view shown, bool hasGoals);

/// A question of several rows, with one option a row.
struct Question {
    std::vector<std::string> lines{};
    std::vector<std::string> options{};

    std::size_t rows() const { return lines.size() + options.size(); }
};

/// Whether a new goal takes the old one's place.
Question replaceGoalQuestion();
/// Whether the directory's files may be worked with.
Question trustQuestion(std::string_view directory);
/// How to log in.
Question loginMenu();
/// Whether the agent should be replaced by a newer one.
Question updateQuestion();
/// Whether a paused goal is to be worked for.
Question resumeGoalQuestion();
/// Whether a command may be run.
Question approvalQuestion();
std::string questionDrawing(const Question& question, std::size_t selected);

/// A program that takes the whole screen: its size, in colours, and the keys that came last.
std::string fullScreen(std::size_t columns, std::size_t rows, std::string_view keys);

/// That the agent's use is limited, until the time where there is one ("10:43 AM").
std::string usageLimitLine(std::string_view until);

/// What ends an agent that cannot open a conversation which it has.
std::string damagedLine();

/// Takes away so many rows, of which the cursor is on the last.
std::string clearedRows(std::size_t rows);

/// How many of its questions the terminal has answered.
std::string terminalLine(std::size_t answers);

/// The title of the window, which says whether the agent works.
std::string titleOf(bool works);

std::string resumedLine(std::string_view sessionID);
std::string unknownSessionLine(std::string_view sessionID);

/// A finished step of work.
std::string stepLine(std::string_view text);
std::string failureLine(std::string_view sentence);

/// One frame of the spinner, drawn over the one before it; `clearedLine` takes it away.
std::string spinnerFrame(std::size_t frame, std::string_view text);
std::string clearedLine();

/// About `size` bytes of coloured lines, numbered from `firstLine`.
std::string floodBlock(std::size_t firstLine, std::size_t size);

}  // namespace quernlight::standin::codex
