#include "quernlight/git/git_command_result.hpp"

#include <algorithm>
#include <array>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// Git's words in the one language that `gitEnvironment` lets it speak.
constexpr std::array<std::string_view, 3> noticePrefixes{"warning: ", "hint: ", "error: "};

bool isNotice(std::string_view line) {
    return line == "hint:" || std::ranges::any_of(noticePrefixes, [line](std::string_view prefix) {
               return line.starts_with(prefix);
           });
}

}  // namespace

std::vector<std::string_view> answerLines(std::string_view output) {
    std::vector<std::string_view> lines = linesOf(output);
    std::erase_if(lines, isNotice);
    return lines;
}

std::string answerText(std::string_view output) {
    std::string text;
    for (const std::string_view line : answerLines(output)) {
        text.append(line).append("\n");
    }
    return std::string(trimmed(text));
}

}  // namespace quernlight
