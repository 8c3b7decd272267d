#pragma once

#include <string>
#include <string_view>

namespace quernlight::TerminalInputEncoding {

/// What a terminal expects for `data`: a line feed, or a carriage return followed by one, becomes a single
/// carriage return; every other byte is copied. Never longer than the input.
std::string dataForPTYWrite(std::string_view data);

}  // namespace quernlight::TerminalInputEncoding
