#include "host/control/listener_token.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/process/secret.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t tokenLength = 64;

[[noreturn]] void refuse(const fs::path& file, const std::string& why) {
    throw UserError("The listener's token file " + file.string() + " " + why);
}

/// Nothing when there is none. Never by way of a link, which others may have placed.
std::optional<FileDescriptor> openToken(const fs::path& file) {
    FileDescriptor opened(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!opened && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat found {};
    if (!opened || fstat(opened.get(), &found) != 0) {
        refuse(file, std::string("cannot be read (") + std::strerror(errno) +
                         "); remove it, and a new one is made.");
    }
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || found.st_nlink != 1) {
        refuse(file, "is no file of yours alone; remove it, and a new one is made.");
    }
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        refuse(file, "may be read by other users, who may know it; remove it, and a new one is made.");
    }
    return opened;
}

std::string tokenIn(const FileDescriptor& opened, const fs::path& file) {
    std::array<char, 2 * tokenLength> bytes{};
    const ssize_t count = read(opened.get(), bytes.data(), bytes.size());
    const std::string content(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    std::string token(trimmed(content));
    const bool isToken = token.size() == tokenLength && std::ranges::all_of(token, [](unsigned char digit) {
                             return std::isxdigit(digit) != 0;
                         });
    if (!isToken) {
        refuse(file, "holds no token; remove it, and a new one is made.");
    }
    return token;
}

/// Whole or not at all, also when the machine stops meanwhile.
std::string makeToken(const fs::path& file) {
    const fs::path unfinished = file.string() + ".new";
    unlink(unfinished.c_str());
    std::string token = randomSecret();
    const std::string line = token + "\n";
    const FileDescriptor made(
        open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    const bool isWritten = made &&
                           write(made.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
                           fsync(made.get()) == 0 && rename(unfinished.c_str(), file.c_str()) == 0;
    if (!isWritten) {
        refuse(file, std::string("cannot be written (") + std::strerror(errno) +
                         "); check the home's permissions or free some disk space.");
    }
    return token;
}

}  // namespace

fs::path listenerTokenFile(const fs::path& home) {
    return home / "listen.token";
}

std::string listenerToken(const fs::path& home) {
    const fs::path file = listenerTokenFile(home);
    const auto opened = openToken(file);
    return opened ? tokenIn(*opened, file) : makeToken(file);
}

}  // namespace quernlight::host
