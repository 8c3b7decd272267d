#pragma once

#include <filesystem>
#include <memory>

namespace quernlight {

/// Access to a file that the user has granted to a sandboxed application; it stays open as long as the result
/// lives. Empty where the file needs no such grant.
std::shared_ptr<const void> openSecurityScope(const std::filesystem::path& file);

}  // namespace quernlight
