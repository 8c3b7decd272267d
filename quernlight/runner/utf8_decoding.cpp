#include "quernlight/runner/utf8_decoding.hpp"

#include <algorithm>

namespace quernlight {
namespace {

/// What may follow a lead byte: how many bytes, and the range of the first of them (Unicode, table 3-7).
struct LeadByte {
    std::size_t length;  // of the whole character; 0 for a byte that begins none
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

constexpr LeadByte leadByte(unsigned char byte) {
    if (byte < 0x80) {
        return {1};
    }
    if (byte < 0xC2 || byte > 0xF4) {
        return {0};
    }
    if (byte < 0xE0) {
        return {2};
    }
    if (byte < 0xF0) {
        return {3, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    return {4, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
}

}  // namespace

Utf8Piece utf8PieceAt(std::string_view bytes, std::size_t offset) {
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(bytes[offset + index]); };
    const LeadByte lead = leadByte(byteAt(0));
    if (lead.length == 0) {
        return {Utf8Piece::Kind::illFormed, 1};
    }
    const std::size_t available = std::min(lead.length, bytes.size() - offset);
    for (std::size_t index = 1; index < available; ++index) {
        const unsigned char low = index == 1 ? lead.low : 0x80;
        const unsigned char high = index == 1 ? lead.high : 0xBF;
        if (byteAt(index) < low || byteAt(index) > high) {
            return {Utf8Piece::Kind::illFormed, index};
        }
    }
    const bool whole = available == lead.length;
    return {whole ? Utf8Piece::Kind::character : Utf8Piece::Kind::incomplete, available};
}

std::size_t incompleteUtf8SuffixLength(std::string_view bytes) {
    const std::size_t longest = std::min<std::size_t>(3, bytes.size());
    for (std::size_t length = 1; length <= longest; ++length) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - length]);
        if ((byte & 0xC0) == 0x80) {
            continue;
        }
        const Utf8Piece piece = utf8PieceAt(bytes, bytes.size() - length);
        return piece.kind == Utf8Piece::Kind::incomplete ? length : 0;
    }
    return 0;
}

}  // namespace quernlight
