#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight {

namespace InitialPromptSendPlan {

/// How long the typist rests between two chunks, so that the agent takes the Enter key for a key and not for
/// the last line of pasted text.
constexpr std::chrono::milliseconds pauseBetweenChunks{350};

/// The pieces in which an initial prompt is typed: the text, with a line feed added when it ends in none and
/// one taken away when it ends in two or more, and then a lone line feed, the Enter key. Nothing for an empty
/// prompt.
std::vector<std::string> chunks(std::string_view initialInput);

}  // namespace InitialPromptSendPlan

/// The text as it may be typed into an agent's terminal for somebody: the line feed is its only control
/// character. A carriage return before one belongs to its line break and is left out, every other control
/// character becomes a blank, so that no text can interrupt or end the agent (Ctrl-C, Ctrl-D), cut what was
/// typed (Ctrl-U) or leave a bracketed paste. What is not valid UTF-8 becomes U+FFFD.
std::string typeableText(std::string_view text);

namespace TerminalInputEncoding {

/// What a terminal expects for `data`: a line feed, or a carriage return followed by one, becomes a single
/// carriage return; every other byte is copied. Never longer than the input.
std::string dataForPTYWrite(std::string_view data);

}  // namespace TerminalInputEncoding

}  // namespace quernlight
