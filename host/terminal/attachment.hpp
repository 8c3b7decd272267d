#pragma once

#include <filesystem>
#include <string>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

struct Attachment {
    std::filesystem::path home;
    std::string bugID;
    bool isReadOnly = false;
};

/// Why an attachment has ended, for the person.
struct AttachmentEnd {
    std::string sentence{};
    bool isLost = false;  ///< the owner went away
    bool isLeft = false;  ///< by the person's key
};

/// Lends this program's terminal to a bug's agent until the person presses Ctrl-], the session ends or its
/// owner goes away; the terminal is put back by then, also when it is cancelled. Throws UserError.
Task<AttachmentEnd> attach(Attachment attachment);

}  // namespace quernlight::host
