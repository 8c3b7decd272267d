#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quernlight {

// Characters that act on what is around them (a terminal, a file of lines, the direction of a text) instead
// of being seen, and what is done with text from outside that may hold some. What is not valid UTF-8 counts
// as U+FFFD.

/// C0, DEL or C1; line feed, carriage return and tab are among them.
bool isControlCharacter(char32_t scalar);

/// The separators of lines and paragraphs beside those, U+2028 and U+2029.
bool isLineSeparator(char32_t scalar);

/// One of those, or a mark that sets the direction of the text behind it.
bool isActingCharacter(char32_t scalar);

/// The text with one blank in place of each control character and line separator.
std::string blankedControls(std::string_view text);

/// The text on one line in which nothing acts: acting characters are written as "\n", "\x1b", "\u202e". When
/// that takes more than `most` characters, the first of them, "…" the last.
std::string escapedLine(std::string_view text, std::size_t most);

}  // namespace quernlight
