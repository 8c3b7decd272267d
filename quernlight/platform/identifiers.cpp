#include "quernlight/platform/identifiers.hpp"

#include <algorithm>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

bool isHexadecimal(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

/// The library's own reader also takes braces and bare digits.
bool isCanonical(std::string_view text) {
    if (text.size() != 36) {
        return false;
    }
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool dash = index == 8 || index == 13 || index == 18 || index == 23;
        if (dash ? text[index] != '-' : !isHexadecimal(text[index])) {
            return false;
        }
    }
    return true;
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

std::optional<Uuid> parseUuid(std::string_view text) {
    if (!isCanonical(text)) {
        return std::nullopt;
    }
    return boost::uuids::string_generator()(text.begin(), text.end());
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
