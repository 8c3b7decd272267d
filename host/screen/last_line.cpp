#include "host/screen/last_line.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

bool saysSomething(std::string_view line) {
    const std::u32string scalars = unicodeScalars(line);
    return std::any_of(scalars.begin(), scalars.end(), isAlphanumeric);
}

}  // namespace

std::string lastReadableLine(std::string_view text) {
    const auto lines = linesOf(text);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (saysSomething(*line)) {
            return std::string(trimmed(*line));
        }
    }
    return {};
}

std::string_view lastPart(std::string_view text, std::size_t size) {
    return text.substr(text.size() - std::min(text.size(), size));
}

}  // namespace quernlight::host
