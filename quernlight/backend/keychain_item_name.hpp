#pragma once

#include <optional>
#include <string>

namespace quernlight {

/// Why a token cannot be kept under such a name; nothing when it can. Key rings know items by UTF-8 texts
/// that end at a null character: anything else would be another item, or none. Pure.
std::optional<std::string> keychainNameRefusal(const std::string& service, const std::string& account);

}  // namespace quernlight
