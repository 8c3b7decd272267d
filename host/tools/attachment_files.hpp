#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/process/user_error.hpp"
#include "quernlight/backend/attachment.hpp"

namespace quernlight::host {

/// A file that may not be attached, and why, for the agent.
class AttachmentRefused : public UserError {
  public:
    using UserError::UserError;
};

/// Where a session's attachments may lie.
struct AttachmentPlaces {
    std::filesystem::path worktree{};          ///< relative paths begin here
    std::filesystem::path attemptDirectory{};  ///< whose secret is none
};

inline constexpr std::size_t mostAttachments = 20;

/// Reads the files, together at most `limit` bytes: regular ones inside of one of the two places, symbolic
/// links resolved first. What is checked is what is read: nothing that is put in a file's or a directory's
/// place meanwhile gets around it. A file with a second name (a hard link) is refused, for that may lie
/// anywhere. Blocks. Throws AttachmentRefused.
std::vector<Attachment> readAttachments(const AttachmentPlaces& places, const std::vector<std::string>& paths,
                                        std::size_t limit = largestAttachment);

}  // namespace quernlight::host
