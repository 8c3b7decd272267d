#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quernlight::host {

// What sets a terminal's colours; `plain` ends it.
inline constexpr const char* green = "\x1b[32m";
inline constexpr const char* yellow = "\x1b[33m";
inline constexpr const char* red = "\x1b[31m";
inline constexpr const char* dim = "\x1b[2m";  ///< for text that stays in the background
inline constexpr const char* plain = "\x1b[0m";

/// How many columns a character takes on a terminal, 0 to 2.
std::size_t characterWidth(char32_t scalar);

/// How many columns a text takes on a terminal: wide East Asian characters two, combining marks none.
std::size_t displayWidth(std::string_view text);

/// The text in exactly `width` columns: filled with blanks, or cut with "…" at its end. Acting characters
/// (isActingCharacter) are left out, so that a title from outside cannot move the cursor. Of a long text only
/// the beginning is looked at, whatever it is made of.
std::string fitted(std::string_view text, std::size_t width);

/// The text on one line: runs of acting characters, line ends among them, become one blank. A text of
/// kilobytes is cut with "…".
std::string withoutControls(std::string_view text);

/// JSON with the acting characters escaped that JSON leaves as they are. In JSON they only occur within
/// texts.
std::string escapedJson(std::string_view json);

}  // namespace quernlight::host
