#include "host/text/shell_text.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

bool isPlain(char32_t scalar) {
    constexpr std::u32string_view signs = U"_./:@%+,-";
    return (scalar >= U'a' && scalar <= U'z') || (scalar >= U'A' && scalar <= U'Z') ||
           (scalar >= U'0' && scalar <= U'9') || signs.find(scalar) != signs.npos;
}

std::string octalEscapes(char32_t scalar) {
    std::string bytes;
    appendUtf8(bytes, scalar);
    std::string escapes;
    for (const char byte : bytes) {
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\%03o",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        escapes += escape.data();
    }
    return escapes;
}

std::string inQuotes(const std::u32string& word) {
    std::string quoted = "'";
    for (const char32_t scalar : word) {
        if (scalar == U'\'') {
            quoted += R"('\'')";
        } else {
            appendUtf8(quoted, scalar);
        }
    }
    return quoted + "'";
}

std::string inQuotesWithEscapes(const std::u32string& word) {
    std::string quoted = "$'";
    for (const char32_t scalar : word) {
        if (isActingCharacter(scalar)) {
            quoted += octalEscapes(scalar);
            continue;
        }
        quoted += scalar == U'\'' || scalar == U'\\' ? "\\" : "";
        appendUtf8(quoted, scalar);
    }
    return quoted + "'";
}

}  // namespace

std::string shellQuoted(std::string_view word) {
    const std::u32string scalars = unicodeScalars(word);
    if (!scalars.empty() && std::all_of(scalars.begin(), scalars.end(), isPlain)) {
        return std::string(word);
    }
    const bool acts = std::any_of(scalars.begin(), scalars.end(), isActingCharacter);
    return acts ? inQuotesWithEscapes(scalars) : inQuotes(scalars);
}

std::string shellOption(std::string_view name, std::string_view word) {
    return std::string(name) + (word.starts_with('-') ? "=" : " ") + shellQuoted(word);
}

}  // namespace quernlight::host
