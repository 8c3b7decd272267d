#pragma once

#include <string>

namespace quernlight {

/// What the operating system calls the type of files with this extension (without its dot):
/// "png" is "image/png". "application/octet-stream" when it knows none. Safe to call from any thread.
std::string mimeTypeForExtension(const std::string& extension);

}  // namespace quernlight
