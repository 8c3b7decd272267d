#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quernlight::host {

/// How many columns a text takes on a terminal: wide East Asian characters two, combining marks none.
std::size_t displayWidth(std::string_view text);

/// The text in exactly `width` columns: filled with blanks, or cut with "…" at its end. Control characters
/// are left out, so that a title from outside cannot move the cursor.
std::string fitted(std::string_view text, std::size_t width);

/// The text on one line: runs of control characters, line ends among them, become one blank.
std::string withoutControls(std::string_view text);

}  // namespace quernlight::host
