#pragma once

#include <string>

namespace quernlight::host {

/// A text that is to be typed into an agent's terminal for a person who is not attached.
struct TypedText {
    std::string text{};
    bool isRaw = false;  ///< with its control characters
    bool pressesEnter = false;
};

/// The keys for its text, without the Enter behind it. Where they are not wanted no control character is
/// left, and line breaks only where the terminal takes pasted text; else they are blanks.
std::string keysOf(const TypedText& typed, bool takesPastes);

}  // namespace quernlight::host
