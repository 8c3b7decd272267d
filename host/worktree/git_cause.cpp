#include "host/worktree/git_cause.hpp"

#include <algorithm>
#include <array>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::array<std::string_view, 5> prefaces{"Preparing worktree ", "HEAD is now at ", "branch '",
                                                   "warning: ", "hint: "};

bool isPreface(std::string_view line) {
    return std::ranges::any_of(prefaces,
                               [line](std::string_view preface) { return line.starts_with(preface); });
}

}  // namespace

std::string causeFirst(std::string_view printed) {
    std::vector<std::string_view> lines = linesOf(printed);
    std::ranges::rotate(lines, std::ranges::find_if_not(lines, isPreface));
    std::string text;
    for (const std::string_view line : lines) {
        text.append(text.empty() ? "" : "\n").append(line);
    }
    return text;
}

}  // namespace quernlight::host
