#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace quernlight {

/// A file that goes with a comment, in memory. A value.
struct Attachment {
    std::string filename;
    std::string contentType;  // MIME type
    std::string bytes;

    bool operator==(const Attachment&) const = default;
};

/// Under which name a file is announced: its last path component, or "attachment" when there is none.
std::string attachmentName(const std::filesystem::path& file);

/// A file is held in memory whole and sent in one body, so its size is bounded; in bytes.
inline constexpr std::size_t largestAttachment = 64 * 1024 * 1024;

/// Reads the whole file; blocks the calling thread, which may be any. Throws `std::system_error` naming the
/// file when it is no regular file, cannot be read or (file too large) has more than `limit` bytes.
Attachment readAttachment(const std::filesystem::path& file, std::size_t limit = largestAttachment);

/// What the operating system calls the type of files with this extension (without its dot):
/// "png" is "image/png". "application/octet-stream" when it knows none. Safe to call from any thread.
std::string mimeTypeForExtension(const std::string& extension);

/// Access to a file that the user has granted to a sandboxed application; it stays open as long as the result
/// lives. Empty where the file needs no such grant.
std::shared_ptr<const void> openSecurityScope(const std::filesystem::path& file);

}  // namespace quernlight
