#include "quernlight/backend/keychain_store.hpp"

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

bool isText(const std::string& name) {
    return isValidUtf8(name) && name.find('\0') == std::string::npos;
}

}  // namespace

KeychainError::KeychainError(std::int32_t code, const std::optional<std::string>& message)
    : std::runtime_error(message ? *message : "Keychain error " + std::to_string(code)), code_(code) {}

std::optional<std::string> keychainNameRefusal(const std::string& service, const std::string& account) {
    if (isText(service) && isText(account)) {
        return std::nullopt;
    }
    return "The name of the token's service or account is not UTF-8 text; choose another.";
}

}  // namespace quernlight
