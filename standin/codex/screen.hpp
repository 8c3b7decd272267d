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
/// under each other, or a hint where that is nothing. A long text shows its end.
struct ComposerDrawing {
    std::string text;
    std::size_t rows = 1;
};
ComposerDrawing composerDrawing(std::string_view shown, std::size_t columns, std::size_t mostRows);

/// The question whether a new goal takes the old one's place, with the option that is selected (0 or 1).
std::string replaceGoalQuestion(std::size_t selected);

/// Takes away so many rows, of which the cursor is on the last.
std::string clearedRows(std::size_t rows);

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
