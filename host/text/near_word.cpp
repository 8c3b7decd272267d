#include "host/text/near_word.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// Letters left out, added, changed or swapped with their neighbour on the way from one word to the other.
std::size_t distance(const std::u32string& from, const std::u32string& to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t row = 0; row <= from.size(); ++row) {
        for (std::size_t column = 0; column <= to.size(); ++column) {
            if (row == 0 || column == 0) {
                steps[row][column] = row + column;
                continue;
            }
            const bool isSame = from[row - 1] == to[column - 1];
            std::size_t fewest = std::min({steps[row - 1][column] + 1, steps[row][column - 1] + 1,
                                           steps[row - 1][column - 1] + (isSame ? 0 : 1)});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1]) {
                fewest = std::min(fewest, steps[row - 2][column - 2] + 1);
            }
            steps[row][column] = fewest;
        }
    }
    return steps[from.size()][to.size()];
}

}  // namespace

std::optional<std::string> nearWord(std::string_view mistyped, const std::vector<std::string>& words) {
    constexpr std::size_t longestCommand = 64;
    const std::u32string typed = unicodeScalars(lowercased(mistyped.substr(0, longestCommand)));
    std::size_t fewest = std::max<std::size_t>(1, (typed.size() + 1) / 3) + 1;
    std::optional<std::string> nearest;
    for (const std::string& word : words) {
        const std::size_t steps = distance(typed, unicodeScalars(lowercased(word)));
        if (steps < fewest) {
            fewest = steps;
            nearest = word;
        }
    }
    return nearest;
}

}  // namespace quernlight::host
