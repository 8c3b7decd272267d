#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quernlight::host {

// Lines of a screen, column by column.

/// A character a column: that of a wide one is followed by a U+0000, and combining marks are left out.
std::u32string columnsOf(std::string_view line);

/// The columns as UTF-8 text again.
std::string textOf(std::u32string_view columns);

/// The first column that is not blank, that of the end for a blank line.
std::size_t indentOf(std::u32string_view columns);

bool isBlank(std::u32string_view columns);

/// A glyph that marks the agent's prompt.
bool isPromptGlyph(char32_t character);

/// Whether the text holds one of the words, whatever their case.
bool holdsAnyOf(std::string_view text, std::initializer_list<std::string_view> words);

}  // namespace quernlight::host
