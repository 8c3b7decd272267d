#include "quernlight/runner/base64.hpp"

#include <cstdint>

namespace quernlight {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Three bytes as four digits; missing bytes count as zero and their digits become padding.
void appendGroup(std::string& text, std::string_view group) {
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < 3; ++index) {
        const unsigned char byte = index < group.size() ? static_cast<unsigned char>(group[index]) : 0;
        bits = bits << 8 | byte;
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
        text.push_back(digit <= group.size() ? alphabet[bits >> (18 - 6 * digit) & 0x3F] : '=');
    }
}

}  // namespace

std::string base64Encoded(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3)) {
        appendGroup(text, bytes.substr(0, 3));
    }
    return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::string_view digits = text.substr(0, text.find('='));
    std::uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char digit : digits) {
        const auto value = alphabet.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes.push_back(static_cast<char>(bits >> bitCount & 0xFF));
        }
    }
    // Only one spelling of the bytes is taken, which settles padding and left-over bits alike.
    return base64Encoded(bytes) == text ? std::optional(bytes) : std::nullopt;
}

}  // namespace quernlight
