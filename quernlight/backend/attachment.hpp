#pragma once

#include <filesystem>
#include <string>

namespace quernlight {

/// A file that goes with a comment, in memory.
struct Attachment {
    std::string filename;
    std::string contentType;  // MIME type
    std::string bytes;

    bool operator==(const Attachment&) const = default;
};

/// Under which name a file is announced: its last path component, or "attachment" when there is none.
std::string attachmentName(const std::filesystem::path& file);

/// Reads the whole file; blocks. Throws `std::system_error` naming the file when it is no regular file or
/// cannot be read.
Attachment readAttachment(const std::filesystem::path& file);

}  // namespace quernlight
