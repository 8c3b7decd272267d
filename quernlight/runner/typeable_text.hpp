#pragma once

#include <string>
#include <string_view>

namespace quernlight {

/// The text as it may be typed into an agent's terminal for somebody: the line feed is its only control
/// character. A carriage return before one belongs to its line break and is left out, every other control
/// character becomes a blank, so that no text can interrupt or end the agent (Ctrl-C, Ctrl-D), cut what was
/// typed (Ctrl-U) or leave a bracketed paste. What is not valid UTF-8 becomes U+FFFD.
std::string typeableText(std::string_view text);

}  // namespace quernlight
