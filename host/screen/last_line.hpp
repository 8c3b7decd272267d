#pragma once

#include <string>
#include <string_view>

namespace quernlight::host {

/// The line of an agent's output that is shown of it: the last one with something to read in it, trimmed;
/// empty when there is none. A prompt or a frame alone says nothing. `text` is readable text.
std::string lastReadableLine(std::string_view text);

/// The end of it, in bytes.
std::string_view lastPart(std::string_view text, std::size_t size);

}  // namespace quernlight::host
