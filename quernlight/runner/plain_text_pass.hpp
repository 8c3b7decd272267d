#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "quernlight/runner/utf8_decoding.hpp"

namespace quernlight {

/// The plain-text rule over some bytes, a `Block` (byte_block.hpp) at a time. Every block is copied whole
/// before it is known how much of it is text; what follows is written over the rest. The places are passed by
/// value, since the compiler must take what is written for a change of anything that has an address.
template <class Block>
class PlainTextPass {
  public:
    static void append(std::string& text, std::string_view bytes) {
        std::array<char, 4096> buffer;
        Places at{bytes.data(), buffer.data()};
        const char* const end = bytes.data() + bytes.size();
        while (at.next < end) {
            at = filled({at.next, buffer.data()}, end, buffer.data() + buffer.size() - 2 * Block::size);
            text.append(buffer.data(), static_cast<std::size_t>(at.out - buffer.data()));
        }
    }

  private:
    static constexpr char bell = '\a';
    static constexpr char escape = '\x1B';
    static constexpr std::string_view replacementCharacter = "\uFFFD";

    /// The byte that is looked at next, and where the text goes on.
    struct Places {
        const char* next;
        char* out;
    };

    static std::size_t distance(const char* from, const char* to) {
        return static_cast<std::size_t>(to - from);
    }

    static bool isNonAscii(char byte) { return (byte & '\x80') != 0; }

    /// Goes on until `end`, or until the text has passed `full`, behind which two blocks have room: text and
    /// a character.
    static Places filled(Places at, const char* end, const char* full) {
        while (at.out <= full && distance(at.next, end) >= Block::size) {
            const Block block(at.next);
            block.copyWithLineFeeds(at.out);
            const std::size_t length = block.indexOfEscapeOrNonAscii();
            // With this branch the next block need not wait for the length of the text in this one.
            at = length == Block::size ? Places{at.next + Block::size, at.out + Block::size}
                                       : afterText(at, length, block, end, full);
        }
        while (at.out <= full && at.next < end && distance(at.next, end) < Block::size) {
            at = afterByte(at, end, full);
        }
        return at;
    }

    /// Behind the text in front of the block, and the sequence or the characters that come next.
    static Places afterText(Places at, std::size_t length, const Block& block, const char* end,
                            const char* full) {
        const char* const next = at.next + length;
        char* const out = at.out + length;
        if (*next != escape) {
            return afterCharacters({next, out}, end, full);
        }
        if (length + 2 < Block::size && next[1] == '[') {
            const std::size_t last = block.indexOfFinalByte(length + 2);
            if (last < Block::size) {
                return {at.next + last + 1, out};
            }
        }
        return {endOfEscape(next + 1, end), out};
    }

    static Places afterByte(Places at, const char* end, const char* full) {
        if (*at.next == escape) {
            return {endOfEscape(at.next + 1, end), at.out};
        }
        if (isNonAscii(*at.next)) {
            return afterCharacters(at, end, full);
        }
        *at.out = *at.next == '\r' ? '\n' : *at.next;
        return {at.next + 1, at.out + 1};
    }

    static Places afterCharacters(Places at, const char* end, const char* full) {
        do {
            if (distance(at.next, end) >= sizeof(std::uint32_t) && isUsualOfThreeBytes(at.next)) {
                std::memcpy(at.out, at.next, sizeof(std::uint32_t));
                at = {at.next + 3, at.out + 3};
            } else {
                at = afterCharacter(at, end);
            }
        } while (at.out <= full && at.next < end && isNonAscii(*at.next));
        return at;
    }

    /// Lines, blocks and bullets, of which an agent's screen is full. Behind two of the lead bytes not every
    /// byte that continues a character may stand.
    static bool isUsualOfThreeBytes(const char* character) {
        const auto byteAt = [character](int index) { return static_cast<unsigned char>(character[index]); };
        const unsigned lead = byteAt(0);
        return (lead & 0xF0U) == 0xE0 && lead != 0xE0 && lead != 0xED && (byteAt(1) & 0xC0U) == 0x80 &&
               (byteAt(2) & 0xC0U) == 0x80;
    }

    static Places afterCharacter(Places at, const char* end) {
        const Utf8Piece piece = utf8PieceAt({at.next, distance(at.next, end)}, 0);
        const bool isWhole = piece.kind == Utf8Piece::Kind::character;
        const std::string_view taken =
            isWhole ? std::string_view(at.next, piece.length) : replacementCharacter;
        return {at.next + piece.length, std::copy(taken.begin(), taken.end(), at.out)};
    }

    /// Past what an escape makes disappear, from behind it; nothing when it begins no sequence, so that an
    /// escape directly after an escape begins anew.
    static const char* endOfEscape(const char* next, const char* end) {
        if (next < end && *next == '[') {
            return endOfControlSequence(next + 1, end);
        }
        return next < end && *next == ']' ? endOfOperatingSystemCommand(next + 1, end) : next;
    }

    /// Past the first byte of "@" to "~". Bytes of longer characters never lie in that range.
    static const char* endOfControlSequence(const char* next, const char* end) {
        while (distance(next, end) >= Block::size) {
            const std::size_t length = Block(next).indexOfFinalByte();
            if (length < Block::size) {
                return next + length + 1;
            }
            next += length;
        }
        const auto isFinal = [](char byte) { return byte >= 0x40 && byte <= 0x7E; };
        const char* const last = std::find_if(next, end, isFinal);
        return last == end ? end : last + 1;
    }

    /// Past the first bell, or the first escape followed by a backslash.
    static const char* endOfOperatingSystemCommand(const char* next, const char* end) {
        for (; next < end; ++next) {
            if (*next == bell) {
                return next + 1;
            }
            if (*next == escape && distance(next, end) > 1 && next[1] == '\\') {
                return next + 2;
            }
        }
        return end;
    }
};

}  // namespace quernlight
