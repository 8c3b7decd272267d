#include "host/screen/model_failure.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "host/screen/composer.hpp"
#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// With which agents begin what went wrong, and never what their model says.
constexpr std::array<std::string_view, 12> marks{"■", "✗", "✘",    "✖", "×",      "⚠",
                                                 "❌", "⛔", "🛑", "!", "error:", "[error]"};

bool isDigit(char byte) {
    return std::isdigit(static_cast<unsigned char>(byte)) != 0;
}

bool isStatus(std::string_view number) {
    return number == "401" || number == "403" || number == "429" ||
           (number.size() == 3 && number.front() == '5');
}

/// As a number of its own: not as a part of a name, a time or a fraction.
bool namesStatus(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = static_cast<std::size_t>(
            std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), isDigit) -
            text.begin());
        const bool isAlone = (at == 0 || std::string_view(" (:=/").find(text[at - 1]) != text.npos) &&
                             (end == text.size() || std::string_view(" ),:;.").find(text[end]) != text.npos);
        if (isAlone && isStatus(text.substr(at, end - at))) {
            return true;
        }
        at = std::max(end, at + 1);
    }
    return false;
}

/// A number beside such a word is no count of something else.
bool saysFailure(std::string_view notice) {
    const bool isCutOff = holdsAnyOf(notice, {"network"}) &&
                          holdsAnyOf(notice, {"error", "unreachable", "connect", "failed", "lost"});
    return isCutOff || holdsAnyOf(notice, {"unauthorized"}) ||
           (holdsAnyOf(notice, {"status", "http", "error"}) && namesStatus(notice));
}

/// Behind its mark; nothing when it has none.
std::optional<std::string_view> unmarked(std::string_view line) {
    const std::string words = lowercased(line);
    const auto* mark =
        std::ranges::find_if(marks, [&words](std::string_view known) { return words.starts_with(known); });
    return mark == marks.end() ? std::nullopt : std::optional(trimmed(line.substr(mark->size())));
}

}  // namespace

std::optional<std::string> modelFailure(const ScreenPicture& picture) {
    const auto composer = composerOn(picture);
    int row = (composer ? composer->row : picture.rows) - 1;
    const auto lineAt = [&](int at) { return trimmed(picture.lines[static_cast<std::size_t>(at)]); };
    while (row >= 0 && lineAt(row).empty()) {
        --row;
    }
    std::string below;
    for (; row >= 0 && !lineAt(row).empty(); --row) {
        // What stands further to the right is of the model's words, or of a command's output.
        if (const auto first = unmarked(picture.lines[static_cast<std::size_t>(row)])) {
            std::string notice = std::string(*first) + below;
            return saysFailure(notice) ? std::optional(std::move(notice)) : std::nullopt;
        }
        below = " " + std::string(lineAt(row)) + below;
    }
    return std::nullopt;
}

}  // namespace quernlight::host
