#include "quernlight/platform/identifiers.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// 0 to 15, or nothing for a character that is no hexadecimal digit.
std::optional<std::uint8_t> digitOf(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    const char lowered = static_cast<char>(character | 0x20);
    return lowered >= 'a' && lowered <= 'f' ? std::optional(static_cast<std::uint8_t>(lowered - 'a' + 10))
                                            : std::nullopt;
}

}  // namespace

Uuid randomUuid() {
    return boost::uuids::random_generator_pure()();
}

std::string upperCaseText(const Uuid& uuid) {
    std::string text = lowerCaseText(uuid);
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'a' && character <= 'f' ? static_cast<char>(character - 'a' + 'A') : character;
    });
    return text;
}

std::string lowerCaseText(const Uuid& uuid) {
    return boost::uuids::to_string(uuid);
}

/// The library's own reader takes braces and bare digits, too, and ten times as long.
std::optional<Uuid> parseUuid(std::string_view text) {
    constexpr std::size_t length = 36;
    Uuid uuid{};
    std::size_t digits = 0;
    for (std::size_t index = 0; index < text.size() && text.size() == length; ++index) {
        if (index == 8 || index == 13 || index == 18 || index == 23) {
            if (text[index] != '-') {
                return std::nullopt;
            }
            continue;
        }
        const auto digit = digitOf(text[index]);
        if (!digit) {
            return std::nullopt;
        }
        std::uint8_t& byte = uuid.data[digits++ / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | *digit);
    }
    return digits == 0 ? std::nullopt : std::optional(uuid);
}

std::string BugID::normalized(std::string_view text) {
    const std::string lowered = lowercased(trimmed(text));
    return std::string(firstCharacters(lowered, 8));
}

bool BugID::isSafeFileName(std::string_view normalizedID) {
    const auto isUnsafe = [](char32_t scalar) {
        return scalar == U'/' || scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
    };
    const std::u32string scalars = unicodeScalars(normalizedID);
    return !scalars.empty() && normalizedID != "." && normalizedID != ".." &&
           std::none_of(scalars.begin(), scalars.end(), isUnsafe);
}

}  // namespace quernlight
