#include "host/process/secret.hpp"

#include <array>
#include <cstddef>

#include <sys/random.h>
#include <unistd.h>

#include "host/process/user_error.hpp"

namespace quernlight::host {

std::string randomSecret() {
    constexpr const char* digits = "0123456789abcdef";
    std::array<unsigned char, 32> bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0) {
        throw UserError("The system has no random numbers for a secret.");
    }
    std::string secret;
    for (const unsigned char byte : bytes) {
        secret += digits[byte >> 4U];
        secret += digits[byte & 15U];
    }
    return secret;
}

bool areEqualSecrets(const std::string& known, const std::string& given) {
    unsigned difference = known.size() == given.size() ? 0U : 1U;
    for (std::size_t index = 0; index < known.size(); ++index) {
        const char other = given.empty() ? '\0' : given[index % given.size()];
        difference |= static_cast<unsigned char>(known[index]) ^ static_cast<unsigned char>(other);
    }
    return difference == 0;
}

}  // namespace quernlight::host
