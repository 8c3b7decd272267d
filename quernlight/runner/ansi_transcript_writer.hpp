#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {

/// Keeps what one session writes to its terminal twice: exactly as received, and as readable text. Appends
/// to files that exist; creates missing ones and their directories on the first append. The files are for
/// their owner only, also those that were readable by others before. Safe from any thread, on which it writes
/// before it returns; both files hold the chunks in the same order.
class ANSITranscriptWriter {
  public:
    ANSITranscriptWriter(std::filesystem::path ansiPath, std::filesystem::path textPath);

    /// Writes one chunk and returns its plain text. A character that the chunk's end cuts in two is held back
    /// and completed by the next chunk; a control sequence is not, so its tail becomes text. Throws
    /// std::system_error when a file cannot be opened or written.
    std::string append(std::string_view data);

    /// Writes what is left of a character that never came whole as U+FFFD, and returns it. Throws as
    /// `append`.
    std::string finish();

  private:
    void openFiles();
    std::string plainTextOf(std::string_view data);

    const std::filesystem::path ansiPath_;
    const std::filesystem::path textPath_;
    std::mutex lock_;
    FileDescriptor ansiFile_;
    FileDescriptor textFile_;
    std::string heldBack_;  // an incomplete character, at most three bytes
};

}  // namespace quernlight
