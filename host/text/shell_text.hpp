#pragma once

#include <string>
#include <string_view>

namespace quernlight::host {

/// The word as it is to be typed into a shell so that it stays one word and runs nothing, whatever is in it:
/// as it stands, in '...', or when a character in it would act on the terminal (isActingCharacter) in $'...'
/// with that character's bytes as octal escapes, for shells that know it (bash, zsh, POSIX.1-2024).
std::string shellQuoted(std::string_view word);

/// "--name word" with the word quoted, and "--name=word" for a word that would be taken for an option.
std::string shellOption(std::string_view name, std::string_view word);

}  // namespace quernlight::host
