#include "quernlight/backend/keychain_error.hpp"

namespace quernlight {

KeychainError::KeychainError(std::int32_t code, const std::optional<std::string>& message)
    : std::runtime_error(message ? *message : "Keychain error " + std::to_string(code)), code_(code) {}

}  // namespace quernlight
