#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

/// Which of the words was probably meant by one that is none of them: the nearest one, if it comes about by
/// few letters left out, added, changed or swapped, whatever the case.
std::optional<std::string> nearWord(std::string_view mistyped, const std::vector<std::string>& words);

}  // namespace quernlight::host
