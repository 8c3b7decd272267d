#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight {

/// RFC 4648 base64, with padding and without line breaks.
std::string base64Encoded(std::string_view bytes);

/// The bytes of such a text, or nothing when it is not one.
std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace quernlight
