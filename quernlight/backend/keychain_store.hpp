#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

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

/// Keeps the backend's administrator token where the system keeps a user's secrets: the keychain on macOS,
/// the Secret Service (freedesktop.org's) of the session elsewhere. Items are told apart by service and
/// account. A value; its operations may be called from any thread and block it while the system works, on
/// Linux for 20 seconds at most and without ever asking the user to unlock anything. They throw
/// KeychainError.
struct KeychainStore {
    std::string service;

    explicit KeychainStore(std::string serviceName) : service(std::move(serviceName)) {}

    /// Nothing when nothing was saved for the account, or when what is there is not UTF-8 text.
    std::optional<std::string> token(const std::string& account) const;

    /// Replaces what was saved before, in the keyring where it lies; otherwise adds it to the default one.
    /// The text (UTF-8) may be empty.
    void saveToken(const std::string& token, const std::string& account) const;

    /// Nothing to delete is no error.
    void deleteToken(const std::string& account) const;

    bool operator==(const KeychainStore&) const = default;
};

/// Why a token cannot be kept under such a name; nothing when it can. Key rings know items by UTF-8 texts
/// that end at a null character: anything else would be another item, or none. Pure.
std::optional<std::string> keychainNameRefusal(const std::string& service, const std::string& account);

}  // namespace quernlight
