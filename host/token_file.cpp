#include "host/token_file.hpp"

#include <fstream>
#include <sstream>

#include "host/user_error.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

bool othersMayRead(const std::filesystem::path& file) {
    using std::filesystem::perms;
    std::error_code error;
    const perms permissions = std::filesystem::status(file, error).permissions();
    return !error && (permissions & (perms::group_read | perms::others_read)) != perms::none;
}

}  // namespace

std::string readToken(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    if (!stream || std::filesystem::is_directory(file)) {
        throw UserError("The token file " + file.string() +
                        " cannot be read; write the administrator token into it.");
    }
    if (othersMayRead(file)) {
        throw UserError("The token file " + file.string() +
                        " may be read by other users; protect it first: chmod 600 " + file.string());
    }
    const std::string token(trimmed(content.str()));
    if (token.empty()) {
        throw UserError("The token file " + file.string() +
                        " is empty; write the administrator token into it.");
    }
    return token;
}

}  // namespace quernlight::host
