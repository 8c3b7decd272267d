#include "host/process/token_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

[[noreturn]] void refuse(const std::filesystem::path& file, const std::string& why) {
    throw UserError("The token file " + file.string() + " " + why);
}

/// A pipe without a writer would not open, or not end, for as long as nobody writes.
FileDescriptor openRegular(const std::filesystem::path& file) {
    FileDescriptor opened(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat found {};
    if (!opened || fstat(opened.get(), &found) != 0) {
        refuse(file, "cannot be read; write the administrator token into it.");
    }
    if (!S_ISREG(found.st_mode)) {
        refuse(file, "is no regular file; write the administrator token into one.");
    }
    if ((found.st_mode & (S_IRGRP | S_IROTH)) != 0) {
        refuse(file, "may be read by other users; protect it first: chmod 600 " + file.string());
    }
    return opened;
}

std::string contentOf(const std::filesystem::path& file) {
    constexpr std::size_t longest = 64 * 1024;
    const FileDescriptor opened = openRegular(file);
    std::string content(longest + 1, '\0');
    std::size_t size = 0;
    ssize_t count = 1;
    while (count > 0 && size < content.size()) {
        count = read(opened.get(), content.data() + size, content.size() - size);
        size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    if (count < 0) {
        refuse(file, std::string("cannot be read (") + std::strerror(errno) +
                         "); write the administrator token into one that can.");
    }
    if (size > longest) {
        refuse(file,
               "holds far more than a token; write the administrator token, and nothing else, into it.");
    }
    content.resize(size);
    return content;
}

bool isControl(char character) {
    constexpr char del = 0x7f;
    return (character >= 0 && character < ' ') || character == del;
}

}  // namespace

std::optional<std::string> tokenTrouble(std::string_view token) {
    if (token.empty()) {
        return "is empty";
    }
    if (token.find_first_of("\r\n") != std::string_view::npos) {
        return "holds more than one line";
    }
    return std::ranges::any_of(token, isControl) ? std::optional<std::string>("holds a control character")
                                                 : std::nullopt;
}

std::string readToken(const std::filesystem::path& file) {
    const std::string content = contentOf(file);
    std::string token(trimmed(content));
    if (const auto trouble = tokenTrouble(token)) {
        const std::string alone = token.empty() ? "" : ", and nothing else,";
        refuse(file, *trouble + "; write the administrator token" + alone + " into it.");
    }
    return token;
}

}  // namespace quernlight::host
