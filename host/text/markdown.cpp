#include "host/text/markdown.hpp"

#include <algorithm>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

/// What may begin or end markup. A colon before "//" and the dot of "www." make a link of what follows them.
bool isMarkup(std::string_view text, std::size_t at) {
    constexpr std::string_view always = "\\`*_{}[]<>#|~&!@$";
    const char letter = text[at];
    const bool isOfLink = (letter == ':' && text.substr(at + 1).starts_with("//")) ||
                          (letter == '.' && at >= 3 && text.substr(at - 3, 3) == "www");
    return always.find(letter) != always.npos || isOfLink;
}

std::size_t longestRun(std::string_view text, char letter) {
    std::size_t longest = 0;
    std::size_t run = 0;
    for (const char each : text) {
        run = each == letter ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

}  // namespace

std::string markdownText(std::string_view text) {
    const std::string line = withoutControls(text);
    std::string safe;
    for (std::size_t at = 0; at < line.size(); ++at) {
        safe += isMarkup(line, at) ? "\\" : "";
        safe += line[at];
    }
    return safe;
}

std::string markdownCode(std::string_view text) {
    const std::string line = withoutControls(text);
    const std::string fence(longestRun(line, '`') + 1, '`');
    const bool touches = line.starts_with('`') || line.ends_with('`');
    const std::string padding = touches ? " " : "";
    return fence + padding + line + padding + fence;
}

}  // namespace quernlight::host
