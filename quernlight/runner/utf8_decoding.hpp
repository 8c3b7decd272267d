#pragma once

#include <cstddef>
#include <string_view>

namespace quernlight {

/// What a text of UTF-8 begins with.
struct Utf8Piece {
    enum class Kind {
        character,   ///< one whole character
        illFormed,   ///< a maximal piece that no character begins with
        incomplete,  ///< the beginning of a character that the text's end cuts off
    };

    Kind kind = Kind::character;
    std::size_t length = 1;  ///< in bytes
};

/// The piece that begins at `offset`, which must lie within `bytes`.
Utf8Piece utf8PieceAt(std::string_view bytes, std::size_t offset);

/// How many bytes at the end, 0 to 3, are the beginning of a character that is not complete. Looks at no more
/// than those.
std::size_t incompleteUtf8SuffixLength(std::string_view bytes);

}  // namespace quernlight
