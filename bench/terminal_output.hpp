#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quernlight::bench {

/// What a coding agent's screen writes: recordings of real ones, again and again.
const std::string& screenOutput();

/// What a compiler or `cat` writes: this library's sources with the line ends that a terminal makes.
const std::string& plainOutput();

/// The text in pieces as large as a read.
std::vector<std::string_view> chunksOf(std::string_view text);

}  // namespace quernlight::bench
