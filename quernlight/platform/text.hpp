#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight {

// Rules of Unicode text that several folders share. Texts are UTF-8; what is not valid UTF-8 counts as U+FFFD
// where a rule needs to know the character, and is copied as it stands where it does not.

/// Without the white space (Unicode property White_Space, which contains the line breaks) at both ends.
std::string_view trimmed(std::string_view text);

/// Lower-cased by Unicode's full, language-independent mapping.
std::string lowercased(std::string_view text);

/// Whether `text` contains `part`, whatever the case of both: by Unicode's full case folding, in which the
/// dotted and the dotless i are one letter each where the user's language is Turkish or Azerbaijani (ICU's
/// default locale, which is that of the environment).
bool containsIgnoringCase(std::string_view text, std::string_view part);

/// The first `count` user-perceived characters (extended grapheme clusters, Unicode Annex 29), or all of a
/// shorter text.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The last `count` user-perceived characters, or all of a shorter text.
std::string_view lastCharacters(std::string_view text, std::size_t count);

/// Whether a scalar is a letter, a mark or a number (general categories L, M and N).
bool isAlphanumeric(char32_t scalar);

/// The text's Unicode scalars; each maximal ill-formed piece is one U+FFFD.
std::u32string unicodeScalars(std::string_view text);

/// UTF-8 of one scalar, appended.
void appendUtf8(std::string& text, char32_t scalar);

/// The text with each maximal ill-formed piece replaced by U+FFFD; valid text is copied.
std::string validUtf8(std::string_view bytes);

/// Whether the bytes are well-formed UTF-8.
bool isValidUtf8(std::string_view bytes);

/// Lines between line feeds; without the empty one after a last line feed.
std::vector<std::string_view> linesOf(std::string_view text);

/// The pieces of a path between its slashes; empty ones are left out.
std::vector<std::string_view> piecesBetweenSlashes(std::string_view path);

}  // namespace quernlight
