#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::InitialPromptSendPlan {

/// How long the typist rests between two chunks, so that the agent takes the Enter key for a key and not for
/// the last line of pasted text.
constexpr std::chrono::milliseconds pauseBetweenChunks{350};

/// The pieces in which an initial prompt is typed: the text, with a line feed added when it ends in none and
/// one taken away when it ends in two or more, and then a lone line feed, the Enter key. Nothing for an empty
/// prompt.
std::vector<std::string> chunks(std::string_view initialInput);

}  // namespace quernlight::InitialPromptSendPlan
