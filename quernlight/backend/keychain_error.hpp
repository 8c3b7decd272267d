#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace quernlight {

/// The keychain refused or could not be asked. The text is the system's own message for the status, or
/// "Keychain error " and the status where it has none.
class KeychainError : public std::runtime_error {
  public:
    KeychainError(std::int32_t code, const std::optional<std::string>& message);

    /// On macOS the OSStatus; on Linux the code of the error that the secret service or the bus gave.
    std::int32_t code() const { return code_; }

  private:
    std::int32_t code_;
};

}  // namespace quernlight
