#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

/// The text in lines of at most `columns` columns, at least one: broken at its own line ends, else behind a
/// blank where one stands in the line's latter half, else anywhere. Every other run of acting characters
/// (isActingCharacter) is one blank. No more than `most` lines, of which the last then ends in "…".
std::vector<std::string> wrapped(std::string_view text, std::size_t columns,
                                 std::size_t most = static_cast<std::size_t>(-1));

}  // namespace quernlight::host
