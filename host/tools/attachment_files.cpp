#include "host/tools/attachment_files.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/tools/tool_access.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    constexpr std::size_t mostOfAPath = 300;
    throw AttachmentRefused("The attachment \"" + escapedLine(path, mostOfAPath) + "\" " + why);
}

[[noreturn]] void refuseUnreadable(const std::string& path, int error) {
    refuse(path, std::string("cannot be read (") + std::strerror(error) + ").");
}

/// The path below `root` of a place that lies in it.
std::optional<fs::path> below(const fs::path& root, const fs::path& place) {
    const fs::path relative = place.lexically_relative(root);
    const bool isInside = !relative.empty() && relative != "." && *relative.begin() != "..";
    return isInside ? std::optional(relative) : std::nullopt;
}

/// Goes down from the root one name at a time, through no link: the path has been resolved, so a link on it
/// was put there since.
FileDescriptor openBelow(const fs::path& root, const fs::path& relative, const std::string& path) {
    constexpr int common = O_RDONLY | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor place(open(root.c_str(), common | O_DIRECTORY));
    for (auto name = relative.begin(); place && name != relative.end(); ++name) {
        const bool isLast = std::next(name) == relative.end();
        const int flags = common | (isLast ? O_NONBLOCK | O_NOCTTY : O_DIRECTORY);
        place = FileDescriptor(openat(place.get(), name->c_str(), flags));
    }
    if (!place) {
        refuseUnreadable(path, errno);
    }
    return place;
}

/// The file, opened, whichever of the two places it lies in.
FileDescriptor openInside(const AttachmentPlaces& places, const std::string& path) {
    std::error_code error;
    const fs::path resolved = fs::canonical(places.worktree / path, error);
    if (error || path.find('\0') != std::string::npos) {
        refuseUnreadable(path, error ? error.value() : EINVAL);
    }
    for (const fs::path& place : {places.worktree, places.attemptDirectory}) {
        const fs::path root = fs::canonical(place, error);
        const auto relative = error ? std::nullopt : below(root, resolved);
        const bool isSecret = !error && resolved == toolSecretFile(root);
        if (relative && !isSecret) {
            return openBelow(root, *relative, path);
        }
    }
    refuse(path, "lies outside of the worktree " + places.worktree.string() +
                     "; only files in it can be attached.");
}

void checkKind(const FileDescriptor& file, const std::string& path) {
    struct stat found {};
    if (fstat(file.get(), &found) != 0) {
        refuseUnreadable(path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        refuse(path, "is no regular file.");
    }
    if (found.st_nlink > 1) {
        refuse(path, "has another name somewhere else (a hard link); attach a copy of it.");
    }
}

std::string readWhole(const FileDescriptor& file, std::size_t limit, const std::string& path) {
    std::string bytes;
    std::array<char, 64 * 1024> chunk{};
    ssize_t count = 1;
    while (count != 0) {
        count = read(file.get(), chunk.data(), chunk.size());
        if (count < 0 && errno != EINTR) {
            refuseUnreadable(path, errno);
        }
        bytes.append(chunk.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (bytes.size() > limit) {
            refuse(path, "is too large: the attachments of a comment have at most " +
                             std::to_string(largestAttachment / (1024 * 1024)) + " MiB together.");
        }
    }
    return bytes;
}

}  // namespace

std::vector<Attachment> readAttachments(const AttachmentPlaces& places, const std::vector<std::string>& paths,
                                        std::size_t limit) {
    if (paths.size() > mostAttachments) {
        throw AttachmentRefused("There are " + std::to_string(paths.size()) +
                                " attachments; a comment takes at most " + std::to_string(mostAttachments) +
                                ".");
    }
    std::vector<Attachment> attachments;
    for (const std::string& path : paths) {
        const FileDescriptor file = openInside(places, path);
        checkKind(file, path);
        const std::string extension = fs::path(path).extension().string();
        attachments.push_back(
            {.filename = attachmentName(path),
             .contentType = mimeTypeForExtension(extension.empty() ? extension : extension.substr(1)),
             .bytes = readWhole(file, limit, path)});
        limit -= attachments.back().bytes.size();
    }
    return attachments;
}

}  // namespace quernlight::host
