#include "quernlight/platform/bug_id.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight {

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
